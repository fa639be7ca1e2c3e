// Flat text files, to which messages are appended as plain text: body, tear line and Origin, no header, no
// kludges. Such an area can be selected, but holds no message that could be read back.
#pragma once

#include <cstdint>
#include <string>

#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

bool text_select(const Area& area);
bool text_read(const char* label);
bool text_kill();

/// The file that a message goes to. A base name of `#` stands for the next free number, `>` for the
/// addressee's and `<` for the sender's `net_node` with the point as extension; any other is the area's path
/// as it stands.
std::string text_area_file(const Area& area, const Msg& msg);

/// Appends the text to its file; 1, or 0 with the reason logged.
uint32_t add_text_msg(const Area& area, const Msg& msg, const LineList& text);

}  // namespace quelmo
