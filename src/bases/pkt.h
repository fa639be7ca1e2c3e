// Areas of packets: a directory of type-2 packets, or a file box of such directories. See base_ops.h for what
// the operations promise; the others step through whole packets.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"
#include "message/packet_scan.h"

namespace quelmo {

bool pkt_select(const Area& area);
bool pkt_read(const char* label);
uint32_t pkt_add(const Area& area, const Msg& msg, const LineList& text);
/// Adds with a header that the caller gives in place of the area's.
uint32_t pkt_add_with(const Area& area, const Msg& msg, const LineList& text, const PktHeader& header);
bool pkt_update();
bool pkt_kill();
void pkt_take_route();
void pkt_close();

/// Eight hexadecimal digits and ".pkt", in any case.
bool is_pkt_name(std::string_view name);

/// Makes the next packet of the scan the one to read; the current one stays loaded. False if there is none.
bool pkt_step();
/// Writes the current packet back, its unread rest included, forgets its message and reads the header of the
/// one that `pkt_step` chose. False if that can't be read.
bool pkt_take_up();

/// Writes the current packet as it stands into `area`: what was kept, the current message, the rest. The path
/// of the copy, which is empty, with a log line, if that fails.
std::string pkt_copy(const Area& area);

/// Drops the unread rest of the current packet. Its earlier messages and the current one stay in the file.
void pkt_drop_rest();

/// Removes the current packet from its area, current message, rest and all. False, logged, if that fails.
bool pkt_remove();

/// True if a packet of the scanned area has been taken up: the current one.
bool pkt_selected();

/// Gives the current packet another header. It is written with the packet.
void pkt_set_header(const PktHeader& header);

}  // namespace quelmo
