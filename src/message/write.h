// Carrying a message from memory into a base, whatever its kind.
#pragma once

#include <cstdint>
#include <string_view>

#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"
#include "message/packet_scan.h"

namespace quelmo {

/// Adds a message to the area `tag` of kind `type`, which exists. The result is the number of the new message
/// (1 in a kind that doesn't number them), or 0 with the reason logged. `current.lastname` is the file
/// written, empty after a failure and where the kind has none to tell. `pkthdr`, if it isn't null, is the
/// header for a new packet; kinds without packets don't look at it.
uint32_t add_msg(AreaType type, std::string_view tag, const Msg& msg, const LineList& text,
                 const PktHeader* pkthdr = nullptr);

/// Writes the message in memory over itself: 1, or 0 with the reason logged; then it stays marked as changed.
int update_msg();

/// Removes the message in memory from its base: 1 or 0.
int kill_msg();

/// Hands a message in memory to `update_msg` if it is changed, or if the rest of its file passes through
/// memory.
void write_back();

}  // namespace quelmo
