#include "bases/squish_chains.h"

#include <string>

#include "core/log.h"

namespace quelmo {
namespace {

// True if the file has a frame of any kind at this offset.
bool frame_at(const Fd& sqd, uint64_t offset) {
  char bytes[sq_hdr_size];
  if (read_at(sqd, bytes, sizeof bytes, offset) != ssize_t{sq_hdr_size}) return false;
  ByteReader reader({bytes, sizeof bytes});
  SqHdr hdr;
  fields(reader, hdr);
  return hdr.id == sq_frame_id;
}

// The first free frame with room for `size` bytes; `hole` doesn't exist if there is none.
bool find_hole(const Fd& sqd, const SqBase& base, uint64_t size, SqFrame& hole) {
  uint32_t landmark = 0;  // a chain that comes back to one is a loop
  hole.offset = base.free_frame;
  for (uint32_t steps = 1; hole.exists(); steps++) {
    if (hole.offset == landmark) return sq_fail(sq_bad_type);
    if ((steps & (steps - 1)) == 0) landmark = hole.offset;
    if (!read_sqhdr(sqd, hole.offset, sq_free, hole.hdr)) return false;
    if (hole.hdr.frame_length >= size && room_in(sqd, base, hole) >= size) return true;
    hole.offset = hole.hdr.next_frame;
  }
  return true;
}

// Takes a hole out of the free chain, on disk: from here on nothing points to it.
bool unlink_hole(const Fd& sqd, SqBase& base, const SqFrame& hole) {
  SqNeighbours around;
  if (!read_neighbours(sqd, hole.hdr, sq_free, around)) return false;
  if (!relink(sqd, around, hole.offset, hole.hdr.next_frame, hole.hdr.prev_frame)) return false;
  if (base.free_frame == hole.offset) base.free_frame = hole.hdr.next_frame;
  if (base.last_free_frame == hole.offset) base.last_free_frame = hole.hdr.prev_frame;
  return update_sqbase(sqd, base);
}

// Where a new frame goes when no hole will do; `length` is that of the file. 0 with the reason set if it
// can't go anywhere.
uint32_t place_at_end(const Fd& sqd, uint64_t length, SqBase& base, uint64_t size) {
  if (base.end_frame < sq_base_size) {
    sq_fail(sq_bad_base);
    return 0;
  }
  // A header that puts the end beyond the file, or ahead of a frame, is mistaken.
  uint64_t at = base.end_frame;
  if (at > length || (at < length && frame_at(sqd, at))) at = length;
  if (at + sq_hdr_size + size > UINT32_MAX) {
    log_line(0, "squish base is full: a message of %llu bytes would take it beyond 4 GiB\n",
             static_cast<unsigned long long>(size));
    sq_fail(sq_seek);
    return 0;
  }
  base.end_frame = static_cast<uint32_t>(at + sq_hdr_size + size);
  return static_cast<uint32_t>(at);
}

// A frame on its way into the free chain: the chain's end in `base` moves to it, the writes follow.
struct Freed {
  SqFrame frame;
  SqFrame last;  // of the free chain so far
};

bool prepare_free(const Fd& sqd, SqBase& base, const SqFrame& frame, Freed& freed) {
  freed.frame = frame;
  if (!read_linked(sqd, base.free_frame == 0 ? 0 : base.last_free_frame, sq_free, freed.last)) return false;
  if (base.free_frame == 0) base.free_frame = frame.offset;
  base.last_free_frame = frame.offset;
  return true;
}

bool write_freed(const Fd& sqd, Freed& freed) {
  SqHdr& hdr = freed.frame.hdr;
  hdr.next_frame = 0;
  hdr.prev_frame = freed.last.offset;
  hdr.frame_type = sq_free;
  if (!write_sqhdr(sqd, freed.frame.offset, hdr)) return false;
  if (!freed.last.exists()) return true;
  freed.last.hdr.next_frame = freed.frame.offset;
  return write_sqhdr(sqd, freed.last.offset, freed.last.hdr);
}

}  // namespace

bool read_linked(const Fd& sqd, uint32_t offset, SqFrameType type, SqFrame& frame) {
  frame.offset = offset;
  return offset == 0 || read_sqhdr(sqd, offset, type, frame.hdr);
}

bool read_neighbours(const Fd& sqd, const SqHdr& hdr, SqFrameType type, SqNeighbours& around) {
  return read_linked(sqd, hdr.prev_frame, type, around.prev) &&
         read_linked(sqd, hdr.next_frame, type, around.next);
}

bool relink(const Fd& sqd, SqNeighbours& around, uint32_t offset, uint32_t for_prev, uint32_t for_next) {
  if (around.prev.exists() && around.prev.hdr.next_frame == offset) {
    around.prev.hdr.next_frame = for_prev;
    if (!write_sqhdr(sqd, around.prev.offset, around.prev.hdr)) return false;
  }
  if (around.next.exists() && around.next.hdr.prev_frame == offset) {
    around.next.hdr.prev_frame = for_next;
    return write_sqhdr(sqd, around.next.offset, around.next.hdr);
  }
  return true;
}

uint64_t room_in(const Fd& sqd, const SqBase& base, const SqFrame& frame) {
  uint64_t end = uint64_t{frame.offset} + sq_hdr_size + frame.hdr.frame_length;
  bool plausible = frame.offset >= sq_base_size && (end == base.end_frame || frame_at(sqd, end));
  if (plausible) return frame.hdr.frame_length;
  return frame.hdr.frame_type == sq_free ? 0 : frame.hdr.msg_length;
}

bool find_place(const Fd& sqd, uint64_t length, SqBase& base, const char* label, uint64_t size,
                SqFrame& place) {
  SqFrame hole;
  if (size > UINT32_MAX) return sq_fail(sq_seek);
  if (!find_hole(sqd, base, size, hole)) {
    log_line(3, "%s: error finding hole in squish base\n", label);
    return false;
  }
  if (hole.exists()) {
    log_line(3, "got hole at  %08X\n", hole.offset);
    place.hdr.frame_length = hole.hdr.frame_length;
    place.offset = hole.offset;
    if (!unlink_hole(sqd, base, hole)) return false;
  } else {
    log_line(3, "hole not found, adding msg to sqbase\n");
    place.hdr.frame_length = static_cast<uint32_t>(size);
    place.offset = place_at_end(sqd, length, base, size);
    if (!place.exists()) return false;
  }
  log_line(3, "writing new msg at frame off: %08X\n", place.offset);
  return true;
}

uint64_t content_size(std::string_view ctrl, std::string_view text) {
  return uint64_t{sq_xmsg_size} + ctrl.size() + 1 + text.size() + 1;
}

bool write_message(const Fd& sqd, SqFrame& frame, const XMsg& xmsg, std::string_view ctrl,
                   std::string_view text, const char* label) {
  frame.hdr.frame_type = sq_being_written;
  frame.hdr.msg_length = static_cast<uint32_t>(content_size(ctrl, text));
  frame.hdr.clen = static_cast<uint32_t>(ctrl.size() + 1);
  std::string bytes = sq_bytes(frame.hdr);
  bytes.reserve(bytes.size() + frame.hdr.msg_length);
  bytes += sq_bytes(xmsg);
  bytes.append(ctrl).push_back('\0');
  bytes.append(text).push_back('\0');
  if (!write_at(sqd, bytes, frame.offset)) {
    log_line(3, "%s: error writing text, frame at %08X\n", label, frame.offset);
    return sq_fail(sq_write);
  }
  frame.hdr.frame_type = sq_message;
  return write_sqhdr(sqd, frame.offset, frame.hdr);
}

bool free_frame(const Fd& sqd, SqBase& base, const SqFrame& frame) {
  Freed freed;
  return prepare_free(sqd, base, frame, freed) && write_freed(sqd, freed);
}

bool kill_frame(const Fd& sqd, SqBase& base, uint32_t offset) {
  SqFrame frame;
  SqNeighbours around;
  Freed freed;
  frame.offset = offset;
  if (base.num_msg == 0 || base.high_msg == 0) {
    log_line(3, "trying to do delete in empty sqbase\n");
    return false;
  }
  if (!read_sqhdr(sqd, offset, sq_message, frame.hdr)) return false;
  if (!read_neighbours(sqd, frame.hdr, sq_message, around)) return false;
  if (!prepare_free(sqd, base, frame, freed)) return false;
  if (base.begin_frame == offset) base.begin_frame = frame.hdr.next_frame;
  if (base.last_frame == offset) base.last_frame = frame.hdr.prev_frame;
  base.num_msg--;
  base.high_msg--;
  return relink(sqd, around, offset, frame.hdr.next_frame, frame.hdr.prev_frame) &&
         update_sqbase(sqd, base) && write_freed(sqd, freed);
}

}  // namespace quelmo
