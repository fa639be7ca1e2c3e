// Writing messages into the packets of a pkt area: each pair of addresses has a packet of its own, cut where
// the area's PKTLENGTH block says so, and in a file box a directory of its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config/areas.h"
#include "message/line_list.h"
#include "message/packet_scan.h"

namespace quelmo {

/// Appends a message to a packet of `area`; `header` is that of a new packet, and names both systems. True
/// with the packet's path in `current.lastname`; false, logged, if it can't be written, and then nothing of
/// the message is left.
bool write_pkt_msg(const Area& area, const PktHeader& header, const PackedMsg& msg, const LineList& text,
                   uint16_t flavor);

/// Forgets the packets that were written to: the next message to each system begins a new one.
void forget_pkt_names();

/// A packet's path that no file has, in a directory with its closing separator; empty, logged, if there is
/// none to be had.
std::string new_pkt_name(std::string_view dir);

/// The largest packet for a system, in bytes, by the area's PKTLENGTH block; 0: no limit.
uint32_t get_maxpktsz(const Area& area, const FtnAddr& to);

/// The name of the directory of a file box for `to`, without separators; empty if the area has none.
std::string box_dir_name(const Area& area, const FtnAddr& to, uint16_t flavor);

}  // namespace quelmo
