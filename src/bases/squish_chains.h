// The two chains of frames in a Squish base, and how frames come into them and out of them. Links that lie
// are never followed without an end, and a neighbour that doesn't point back keeps its link.
//
// The caller holds the lock of the base. What goes wrong is in sq_errno; the functions then give false.
#pragma once

#include <cstdint>
#include <string_view>

#include "bases/squish_frames.h"

namespace quelmo {

/// A frame with its header; offset 0 is none, the end of a chain.
struct SqFrame {
  uint32_t offset = 0;
  SqHdr hdr;
  bool exists() const { return offset != 0; }
};

/// The two neighbours of a frame in its chain.
struct SqNeighbours {
  SqFrame prev;
  SqFrame next;
};

/// Reads a frame that a link points to. A link of 0 is good, and no frame.
bool read_linked(const Fd& sqd, uint32_t offset, SqFrameType type, SqFrame& frame);
bool read_neighbours(const Fd& sqd, const SqHdr& hdr, SqFrameType type, SqNeighbours& around);

/// Points the neighbours of the frame at `offset` past it, or to where it has gone.
bool relink(const Fd& sqd, SqNeighbours& around, uint32_t offset, uint32_t for_prev, uint32_t for_next);

/// Bytes that a frame can hold without running into the next one: its length, if that leads to a frame or to
/// the end; else only what is in use.
uint64_t room_in(const Fd& sqd, const SqBase& base, const SqFrame& frame);

/// Bytes of a message's header and texts, with the NULs.
uint64_t content_size(std::string_view ctrl, std::string_view text);

/// Finds the place of a new frame of `size` bytes: the first hole that holds them, which is taken out of its
/// chain on disk and keeps its length, or the end, which moves in `base` only. `length` is that of the file;
/// `label` goes in front of messages. A base that would pass 4 GiB is told of in the log.
bool find_place(const Fd& sqd, uint64_t length, SqBase& base, const char* label, uint64_t size,
                SqFrame& place);

/// Writes the frame of a message whole; while that is under way its header says so.
bool write_message(const Fd& sqd, SqFrame& frame, const XMsg& xmsg, std::string_view ctrl,
                   std::string_view text, const char* label);

/// Puts a frame at the end of the free chain, whose end moves in `base` only.
bool free_frame(const Fd& sqd, SqBase& base, const SqFrame& frame);

/// Takes the message at `offset` out of the base, all but its index record.
bool kill_frame(const Fd& sqd, SqBase& base, uint32_t offset);

}  // namespace quelmo
