// One file of a pkt or bink area in memory: loaded whole, its messages taken one by one, each kept or
// dropped, and the file written back when its last message has been passed. Messages that are kept are never
// taken apart: their bytes go back as they came. A file of which nothing was dropped isn't written at all.
//
// Invariant of a loaded PktScan: kept <= prev_off <= cur_off <= end_off <= buffer.size().
#pragma once

#include <string>
#include <string_view>

#include "message/line_list.h"
#include "message/packet_scan.h"

namespace quelmo {

enum class Load {
  ok,
  damaged,
  unopened,  ///< can't be opened, or is too large: nothing is known of it, and it is left alone
};

/// Reads the header of a packet into `scan`: header, to, from. Fails, logged, if the file can't be opened, is
/// too short or of another type.
Load read_pkt_header(const std::string& path, PktScan& scan);

/// Loads a packet: the header too, and its messages into `scan.buffer`. The file name becomes `scan.name`.
/// Fails, logged, for what is too short, too long or has no end.
Load load_packet(const std::string& path, PktScan& scan);

/// Loads a file's bytes as they stand, for what has no header and no end. Nothing is logged.
Load load_bytes(const std::string& path, PktScan& scan);

/// Takes the next message of the loaded packet into `scan.msg` and `text`. False, mostly logged, if it is
/// damaged.
bool read_packed_msg(PktScan& scan, LineList& text);

/// Settles the current message: its bytes stay in the file, or are left out. Nothing if it is settled
/// already.
void keep_current(PktScan& scan);
void drop_current(PktScan& scan);

/// Leaves out everything behind the current message.
void drop_rest(PktScan& scan);

/// True if the last message has been handed out.
bool at_end(const PktScan& scan);

/// Writes the loaded file back if that is needed: what was kept, a current message that isn't settled, and
/// what is unread. A packet without a message is removed; a list stays, empty. The file is no longer loaded
/// then. False, logged, if it couldn't be written; then the old one stands. A file that another program
/// changed in between is left to it.
bool save_file(PktScan& scan);

/// Writes the whole loaded packet, the unsettled current message included, to a new file. False with errno.
bool write_copy(const PktScan& scan, const std::string& path);

/// Forgets the loaded file; the memory is kept for the next one.
void unload(PktScan& scan);

/// Renames a damaged file, to `bad` or, if that is taken, to a name made up in its directory. False with
/// errno.
bool set_aside(std::string_view path, const std::string& bad);

/// Gives a damaged file the extension "bad", or a name made up if that one is taken.
void mark_bad(std::string_view path);

}  // namespace quelmo
