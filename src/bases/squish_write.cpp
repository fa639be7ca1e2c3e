#include "bases/squish_write.h"

#include <algorithm>
#include <optional>

#include "core/log.h"
#include "core/stop.h"
#include "message/current.h"
#include "platform/clock.h"
#include "platform/lock.h"

namespace quelmo {
namespace {

// The lock of the field on a base; it falls at the end of the scope.
class BaseLock {
 public:
  BaseLock(const Fd& sqd, int level_of_refusal) : sqd_(sqd), held_(lock_region(sqd, 0, 1) == 0) {
    if (held_) {
      log_line(3, "sqd file locked OK\n");
    } else {
      log_line(level_of_refusal, "error locking sqd file\n");
      sq_fail(sq_locked);
    }
  }
  ~BaseLock() {
    if (held_) unlock_region(sqd_, 0, 1);
  }
  BaseLock(const BaseLock&) = delete;
  BaseLock& operator=(const BaseLock&) = delete;
  explicit operator bool() const { return held_; }

 private:
  const Fd& sqd_;
  bool held_;
};

uint64_t length_of(const Fd& file) {
  return static_cast<uint64_t>(std::max<int64_t>(file_length(file), 0));
}

// A frame with its header. `exists` is false for offset 0, the end of a chain.
struct Frame {
  uint32_t offset = 0;
  SqHdr hdr;
  bool exists() const { return offset != 0; }
};

// Reads a neighbour in a chain, whose link may be 0. False if there is one and it isn't good.
bool read_frame(const Fd& sqd, uint32_t offset, SqFrameType type, Frame& frame) {
  frame.offset = offset;
  return offset == 0 || read_sqhdr(sqd, offset, type, frame.hdr);
}

// The two neighbours of a frame in its chain.
struct Neighbours {
  Frame prev;
  Frame next;
};

bool read_neighbours(const Fd& sqd, const SqHdr& hdr, SqFrameType type, Neighbours& around) {
  return read_frame(sqd, hdr.prev_frame, type, around.prev) &&
         read_frame(sqd, hdr.next_frame, type, around.next);
}

// Points the neighbours of the frame at `offset` past it, or to where it has gone. A neighbour that doesn't
// point to it keeps its link.
bool relink(const Fd& sqd, Neighbours& around, uint32_t offset, uint32_t for_prev, uint32_t for_next) {
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

// True if the file has a frame of any kind at this offset.
bool frame_at(const Fd& sqd, uint64_t offset) {
  char bytes[sq_hdr_size];
  if (read_at(sqd, bytes, sizeof bytes, offset) != ssize_t{sq_hdr_size}) return false;
  ByteReader reader({bytes, sizeof bytes});
  SqHdr hdr;
  fields(reader, hdr);
  return hdr.id == sq_frame_id;
}

// What a frame can hold without running into the next one: its length, if that leads to a frame or to the
// end; else only what is in use.
uint64_t room_in(const Fd& sqd, const SqBase& base, const Frame& frame) {
  uint64_t end = uint64_t{frame.offset} + sq_hdr_size + frame.hdr.frame_length;
  bool plausible = frame.offset >= sq_base_size && (end == base.end_frame || frame_at(sqd, end));
  if (plausible) return frame.hdr.frame_length;
  return frame.hdr.frame_type == sq_free ? 0 : frame.hdr.msg_length;
}

// The first free frame with room for `size` bytes; `hole` doesn't exist if there is none.
bool find_hole(const Fd& sqd, const SqBase& base, uint64_t size, Frame& hole) {
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
bool unlink_hole(const Fd& sqd, SqBase& base, const Frame& hole) {
  Neighbours around;
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

// Finds the place of a new frame: a hole, which keeps its length, or the end, which moves in `base` only.
bool find_place(const Fd& sqd, uint64_t length, SqBase& base, const char* label, uint64_t size,
                Frame& place) {
  Frame hole;
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

// Writes a frame whole; while that is under way its header says so.
bool write_frame(const Fd& sqd, Frame& frame, const XMsg& xmsg, std::string_view ctrl, std::string_view text,
                 const char* label) {
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

// A frame on its way into the free chain: the chain's end in `base` moves to it, the writes follow.
struct Freed {
  Frame frame;
  Frame last;  // of the free chain so far
};

bool prepare_free(const Fd& sqd, SqBase& base, const Frame& frame, Freed& freed) {
  freed.frame = frame;
  if (!read_frame(sqd, base.free_frame == 0 ? 0 : base.last_free_frame, sq_free, freed.last)) return false;
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

// Takes the message at `offset` out of the base, all but its index record.
bool kill_frame(const Fd& sqd, SqBase& base, uint32_t offset) {
  Frame frame;
  Neighbours around;
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

// False if another program has put something else into the frame since the message was read.
bool still_same_message(const Fd& sqd, uint32_t offset, const XMsg& xmsg) {
  constexpr uint32_t umsgid_at = sq_hdr_size + 214;
  char bytes[4];
  if (read_at(sqd, bytes, sizeof bytes, uint64_t{offset} + umsgid_at) != ssize_t{sizeof bytes})
    return sq_fail(sq_short_xmsg);
  ByteReader reader({bytes, sizeof bytes});
  uint32_t umsgid = 0;
  reader.u32(umsgid);
  if (umsgid == xmsg.umsgid) return true;
  log_line(1, "squish message at %08X isn't the one that was read\n", offset);
  return sq_fail(sq_bad_type);
}

void mark_moved(SqScan& scan, size_t entry) {
  if (scan.moved.size() <= entry) scan.moved.resize(scan.list.size());
  scan.moved[entry] = true;
  scan.changed = true;
}

void mark_dead(SqScan& scan, size_t entry) {
  scan.list[entry].ofs = sq_dead;
  scan.changed = true;
}

// Number of the index record that a new message gets. The list of a scan may hold messages that the base has
// no more, and other programs add to the file meanwhile; else the index has to fit the base.
std::optional<uint64_t> new_record(const Fd& sqi, const SqScan* scan, const SqBase& base) {
  uint64_t length = length_of(sqi);
  uint64_t number = base.num_msg;
  if (scan != nullptr) number = std::min<uint64_t>(scan->list.size(), length / sq_idx_size);
  bool fits = length >= number * sq_idx_size;
  if (fits && length > number * sq_idx_size) {
    fits = each_sqidx(sqi, number, [&](const SqIdx& record) {
      if (is_blank_record(record)) return false;
      number++;
      return true;
    });
    fits = fits && (scan != nullptr || number == base.num_msg);
  }
  if (fits) return number;
  sq_fail(sqi_bad_count);
  return std::nullopt;
}

bool write_sqidx(const Fd& sqi, uint64_t number, const SqIdx& record) {
  if (write_at(sqi, sq_bytes(record), number * sq_idx_size)) return true;
  log_line(3, "write_SQIDX: error writing *.sqi, asked:%u, written:-1, offset:%08llX\n", sq_idx_size,
           static_cast<unsigned long long>(number * sq_idx_size));
  return sq_fail(sqi_write);
}

// Writes an index over the old one, then cuts it.
bool write_index(const Fd& sqi, std::string_view bytes) {
  if (!write_at(sqi, bytes, 0)) return sq_fail(sqi_write);
  if (truncate_at(sqi, bytes.size())) return true;
  log_line(0, "save_idx: error truncating *.sqi file\n");
  return sq_fail(sqi_write);
}

[[noreturn]] void stop_not_in_index(uint32_t offset) {
  log_line(0, "adjust_max: frame %08X isn't in the index\n", offset);
  throw Stop();
}

// An index without the record of the message at `offset`.
std::optional<std::string> index_without(const Fd& sqi, uint32_t offset) {
  std::string kept;
  bool found = false;
  bool readable = each_sqidx(sqi, 0, [&](const SqIdx& record) {
    bool is_it = !found && record.ofs == offset;
    found = found || is_it;
    if (!is_it) kept += sq_bytes(record);
    return true;
  });
  if (readable && !found) stop_not_in_index(offset);
  if (readable) return kept;
  sq_fail(sqi_read);
  return std::nullopt;
}

// Keeps a base within its limit: the oldest message goes. The number of the message just added.
uint32_t adjust_max(const Fd& sqd, const Fd& sqi, SqScan* scan, SqBase& base) {
  if (base.max_msg == 0 || base.high_msg <= base.max_msg) return base.high_msg;
  uint32_t oldest = base.begin_frame;
  uint32_t number = base.high_msg - 1;
  log_line(4, "high_msg(%u) > max_msg(%u), kill the 1st msg at %08x\n", base.high_msg, base.max_msg, oldest);
  if (scan == nullptr) {
    std::optional<std::string> kept = index_without(sqi, oldest);
    if (kept && kill_frame(sqd, base, oldest)) write_index(sqi, *kept);
    return number;
  }
  auto entry =
      std::find_if(scan->list.begin(), scan->list.end(), [&](const SqIdx& i) { return i.ofs == oldest; });
  if (entry == scan->list.end()) stop_not_in_index(oldest);
  if (kill_frame(sqd, base, oldest)) mark_dead(*scan, static_cast<size_t>(entry - scan->list.begin()));
  if (scan->cur_off == oldest) scan->cur_off = 0;
  return number;
}

// Writes the frame of a new message and everything that leads to it. On failure the base is what it was.
bool link_new_message(const Fd& sqd, const Fd& sqi, const SqBase& before, SqBase& base, Frame& prev,
                      Frame& frame, const SqIdx& record, uint64_t number) {
  base.last_frame = frame.offset;
  if (base.begin_frame == 0) base.begin_frame = frame.offset;
  base.uid++;
  base.num_msg++;
  base.high_msg++;
  if (prev.exists()) {
    prev.hdr.next_frame = frame.offset;
    if (!write_sqhdr(sqd, prev.offset, prev.hdr)) return false;
  }
  if (!update_sqbase(sqd, base)) return false;
  if (write_sqidx(sqi, number, record)) return true;
  prev.hdr.next_frame = 0;
  if (prev.exists()) write_sqhdr(sqd, prev.offset, prev.hdr);
  update_sqbase(sqd, before);
  truncate_at(sqi, number * sq_idx_size);
  return sq_fail(sqi_write);
}

// Gives the current message, at `old`, a new frame in the same place of the chain.
bool move_frame(SqScan& scan, SqBase& base, const Frame& old, std::string_view ctrl, std::string_view text) {
  const Fd& sqd = scan.sqd;
  Neighbours around;
  Frame frame = old;
  if (!read_neighbours(sqd, old.hdr, sq_message, around)) return false;
  uint64_t length = length_of(sqd);
  if (!find_place(sqd, length, base, "update_to_new_frame", content_size(ctrl, text), frame)) return false;
  if (!write_frame(sqd, frame, scan.xmsg, ctrl, text, "update_to_new_frame")) {
    if (frame.offset >= length) truncate_at(sqd, length);
    return false;
  }
  if (base.begin_frame == old.offset) base.begin_frame = frame.offset;
  if (base.last_frame == old.offset) base.last_frame = frame.offset;
  // The base first: it says where the file ends, and what stands behind that is written over.
  if (!update_sqbase(sqd, base) || !relink(sqd, around, old.offset, frame.offset, frame.offset)) return false;
  scan.left.push_back(old.offset);
  scan.cur_off = frame.offset;
  return true;
}

// Frees the frames that moved messages have left.
void free_left_frames(SqScan& scan, SqBase& base) {
  for (uint32_t offset : scan.left) {
    Frame frame;
    Freed freed;
    frame.offset = offset;
    if (!read_sqhdr(scan.sqd, offset, sq_message, frame.hdr)) continue;
    if (!prepare_free(scan.sqd, base, frame, freed) || !write_freed(scan.sqd, freed)) break;
  }
  update_sqbase(scan.sqd, base);
  scan.left.clear();
}

// The index as it is to be: what the file has now, with our kills and moves. Both are in the order of the
// message numbers, so that the entry of a record is looked for from the last one on; records that aren't ours
// are other programs', added while we scanned.
bool merged_index(SqScan& scan, std::string& out) {
  constexpr int strangers_looked_for = 64;
  size_t next = 0;
  int strangers = 0;
  out.reserve(scan.list.size() * sq_idx_size);
  return each_sqidx(scan.sqi, 0, [&](SqIdx record) {
    if (is_blank_record(record)) return true;
    size_t entry = next;
    size_t end = strangers < strangers_looked_for ? scan.list.size() : next;
    while (entry < end && scan.list[entry].umsgid != record.umsgid) entry++;
    if (entry >= end) {
      strangers++;
    } else {
      next = entry + 1;
      if (scan.list[entry].ofs == sq_dead) return true;
      if (entry < scan.moved.size() && scan.moved[entry]) record = scan.list[entry];
    }
    if (record.ofs != sq_dead) out += sq_bytes(record);
    return true;
  });
}

}  // namespace

bool own_index(SqScan& scan, uint32_t num_msg, int64_t& found) {
  found = num_msg;
  if (scan.owns_index) return true;
  found = -1;
  scan.list.clear();
  uint64_t length = length_of(scan.sqi);
  if (lock_region(scan.sqi, 0, length) != 0) {
    log_line(0, "error locking sqi file\n");
    return sq_fail(sq_locked);
  }
  SqError fault = sqi_bad_count;
  scan.list.reserve(length / sq_idx_size);
  bool readable = each_sqidx(scan.sqi, 0, [&](const SqIdx& record) {
    if (is_blank_record(record)) {
      fault = record.ofs == 0 ? sqi_bad_ofs : sqi_bad_umsgid;
      return false;
    }
    scan.list.push_back(record);
    return true;
  });
  if (readable) {
    found = static_cast<int64_t>(scan.list.size());
    scan.owns_index = found == num_msg;
    return scan.owns_index || sq_fail(fault);
  }
  log_line(2, "fill_idx_list: error reading sqi file\n");
  return sq_fail(sqi_read);
}

uint32_t add_squish_msg(const Fd& sqd, const Fd& sqi, SqScan* scan, XMsg& xmsg, std::string_view ctrl,
                        std::string_view text) {
  BaseLock lock(sqd, 0);
  SqBase base;
  Frame prev;
  Frame frame;
  if (!lock || !read_sqbase(sqd, base)) return 0;
  int64_t found = 0;
  if (scan != nullptr && !own_index(*scan, base.num_msg, found)) return 0;
  std::optional<uint64_t> number = new_record(sqi, scan, base);
  if (!number || !read_frame(sqd, base.last_frame, sq_message, prev)) return 0;
  uint64_t length = length_of(sqd);
  uint32_t end_frame = base.end_frame;
  if (!find_place(sqd, length, base, "sqwrite", content_size(ctrl, text), frame)) return 0;

  frame.hdr.prev_frame = prev.offset;
  xmsg.umsgid = base.uid;
  xmsg.attr |= sq_attr_umsgid;
  SqIdx record = {frame.offset, xmsg.umsgid, squish_hash(xmsg.to)};
  SqBase before = base;
  before.end_frame = end_frame;
  if (!write_frame(sqd, frame, xmsg, ctrl, text, "sqwrite") ||
      !link_new_message(sqd, sqi, before, base, prev, frame, record, *number)) {
    if (frame.offset >= length) truncate_at(sqd, length);
    return 0;
  }
  if (scan != nullptr) scan->list.push_back(record);
  return adjust_max(sqd, sqi, scan, base);
}

bool update_squish_msg(SqScan& scan, std::string_view ctrl, std::string_view text) {
  if (scan.cur_off == 0) {
    log_line(2, "squish_update error: no active msg, cur_off = 0L\n");
    return false;
  }
  const Fd& sqd = scan.sqd;
  BaseLock lock(sqd, 3);
  SqBase base;
  Frame frame;
  frame.offset = scan.cur_off;
  if (!lock || !read_sqbase(sqd, base) || !read_sqhdr(sqd, frame.offset, sq_message, frame.hdr) ||
      !still_same_message(sqd, frame.offset, scan.xmsg)) {
    log_line(3, "sq_update: rewrite_frame failed (error) \n");
    return false;
  }
  SqIdx& record = scan.list[scan.index - 1];
  uint64_t size = content_size(ctrl, text);
  if (room_in(sqd, base, frame) >= size) {
    if (!write_frame(sqd, frame, scan.xmsg, ctrl, text, "rewrite_frame")) return false;
    log_line(3, "sq_update: msg updated in the same frame ok\n");
  } else {
    log_line(3, "sq_update: msg doesn`t fit in the same frame, create new frame\n");
    if (!move_frame(scan, base, frame, ctrl, text)) {
      log_line(3, "sq_update: update_to_new_frame failed (error)\n");
      return false;
    }
    record.ofs = scan.cur_off;
    mark_moved(scan, scan.index - 1);
  }
  // Other programs keep a mark in the hash's highest bit.
  uint32_t hash = squish_hash(scan.xmsg.to);
  if ((record.hash & 0x7FFFFFFF) != hash) {
    record.hash = hash;
    mark_moved(scan, scan.index - 1);
  }
  return true;
}

bool kill_squish_msg(SqScan& scan) {
  BaseLock lock(scan.sqd, 0);
  SqBase base;
  if (!lock || !read_sqbase(scan.sqd, base)) return false;
  if (!still_same_message(scan.sqd, scan.cur_off, scan.xmsg)) return false;
  if (!kill_frame(scan.sqd, base, scan.cur_off)) return false;
  mark_dead(scan, scan.index - 1);
  scan.cur_off = 0;
  return true;
}

bool save_idx(SqScan& scan) {
  if (!scan.changed || !scan.owns_index) return true;
  // Mail has been killed or moved: the index has to follow, if need be without the lock.
  constexpr int tries = 20;
  constexpr int ms_between_tries = 50;
  std::optional<BaseLock> lock;
  for (int i = 0; i < tries; i++) {
    lock.emplace(scan.sqd, i == 0 ? 0 : 3);
    if (*lock) break;
    sleep_ms(ms_between_tries);
  }
  std::string bytes;
  scan.changed = false;
  if (!merged_index(scan, bytes)) return sq_fail(sqi_read);
  if (!write_index(scan.sqi, bytes)) return false;
  flush_to_disk(scan.sqi);
  SqBase base;
  if (*lock && !scan.left.empty() && read_sqbase(scan.sqd, base)) free_left_frames(scan, base);
  return true;
}

}  // namespace quelmo
