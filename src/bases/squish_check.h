// A look at a Squish base (look.h): its messages, or what is wrong with its chains, its index and its sizes.
#pragma once

#include <string_view>

#include "bases/look.h"

namespace quelmo {

/// `path` is without extension. A check also tells of the copy that an interrupted pack has left, and which
/// of the two is whole.
bool squish_look(std::string_view path, Look& look);

}  // namespace quelmo
