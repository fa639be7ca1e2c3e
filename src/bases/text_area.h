// Flat text files. Such an area can be selected, but holds no message that could be read back.
#pragma once

#include "config/areas.h"

namespace quelmo {

bool text_select(const Area& area);
bool text_read(const char* label);
bool text_kill();

}  // namespace quelmo
