// Changes to a Squish base: messages added, written over, killed; the index written back. All of them work
// under the lock of the field, byte 0 of the .sqd file; one that is refused is error 24 and changes nothing.
//
// Before the first byte is written everything that a change will touch has been read and found good. The
// order of the writes is such that a program that dies on the way leaves the following:
//
//   add       The frame is written whole where nothing points to it: behind the end, or in a free frame that
//             has been taken out of its chain first. Then the link of the message before, then SqBase, then
//             the index record. Up to SqBase the base is as it was (at worst a free frame is lost until the
//             next pack); between the last two the message is in the chain and not yet in the index, and a
//             scan refuses the base.
//   update    In place, the frame is marked as being written until it is whole: a reader sees the mark, not
//             half a message. To a new place: the new frame is whole before anything points to it, and the
//             old one stays a message until the index has been written, so that the index file, old or new,
//             points to a whole message at any time.
//   kill      The neighbours' links, SqBase, the frame's own mark, the free chain. Up to SqBase the message
//             is still in the index and readable.
//   index     A scan keeps it in memory and writes it when the area is left, in place, then cuts it and
//             flushes it. A scan with kills that dies before that leaves records of the killed messages: the
//             next scan finds that their frames are free, passes them over and writes the index without them.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "bases/squish_frames.h"
#include "message/scan_state.h"

namespace quelmo {

/// Adds a message: sets its umsgid, and gives its number, or 0. `scan` is the scan that has these files open,
/// or null. With max_msg exceeded, the oldest message goes.
uint32_t add_squish_msg(const Fd& sqd, const Fd& sqi, SqScan* scan, XMsg& xmsg, std::string_view ctrl,
                        std::string_view text);

/// Writes scan.xmsg and the texts over the current message.
bool update_squish_msg(SqScan& scan, std::string_view ctrl, std::string_view text);

/// Kills the current message and marks it in the list.
bool kill_squish_msg(SqScan& scan);

/// Writes the index file from the list, if that has changed, and frees the frames that messages have left.
/// Records that other programs have added or changed in the meantime stay.
bool save_idx(SqScan& scan);

}  // namespace quelmo
