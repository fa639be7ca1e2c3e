#include "bases/squish_write.h"

#include <algorithm>
#include <optional>

#include "bases/squish_chains.h"
#include "bases/squish_index.h"
#include "core/log.h"
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
bool link_new_message(const Fd& sqd, const Fd& sqi, const SqBase& before, SqBase& base, SqFrame& prev,
                      SqFrame& frame, const SqIdx& record, uint64_t number) {
  base.last_frame = frame.offset;
  if (base.begin_frame == 0) base.begin_frame = frame.offset;
  base.uid++;
  base.num_msg++;
  base.high_msg++;
  prev.hdr.next_frame = frame.offset;
  if ((!prev.exists() || write_sqhdr(sqd, prev.offset, prev.hdr)) && update_sqbase(sqd, base) &&
      write_sqidx(sqi, number, record))
    return true;
  int error = current.sq_errno;
  prev.hdr.next_frame = 0;
  if (prev.exists()) write_sqhdr(sqd, prev.offset, prev.hdr);
  update_sqbase(sqd, before);
  truncate_at(sqi, number * sq_idx_size);
  current.sq_errno = error;
  return false;
}

// Gives the current message, at `old`, a new frame in the same place of the chain.
bool move_frame(SqScan& scan, SqBase& base, const SqFrame& old, std::string_view ctrl,
                std::string_view text) {
  const Fd& sqd = scan.sqd;
  SqNeighbours around;
  SqFrame frame = old;
  if (!read_neighbours(sqd, old.hdr, sq_message, around)) return false;
  uint64_t length = sq_length(sqd);
  if (!find_place(sqd, length, base, "update_to_new_frame", content_size(ctrl, text), frame)) return false;
  if (!write_message(sqd, frame, scan.xmsg, ctrl, text, "update_to_new_frame")) {
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
    SqFrame frame;
    frame.offset = offset;
    if (!read_sqhdr(scan.sqd, offset, sq_message, frame.hdr)) continue;
    if (!free_frame(scan.sqd, base, frame)) break;
  }
  update_sqbase(scan.sqd, base);
  scan.left.clear();
}

}  // namespace

uint32_t add_squish_msg(const Fd& sqd, const Fd& sqi, SqScan* scan, XMsg& xmsg, std::string_view ctrl,
                        std::string_view text) {
  BaseLock lock(sqd, 0);
  SqBase base;
  SqFrame prev;
  SqFrame frame;
  if (!lock || !read_sqbase(sqd, base)) return 0;
  int64_t found = 0;
  if (scan != nullptr && !own_index(*scan, base.num_msg, found)) return 0;
  std::optional<uint64_t> number = new_record(sqi, scan, base);
  if (!number || !read_linked(sqd, base.last_frame, sq_message, prev)) return 0;
  uint64_t length = sq_length(sqd);
  uint32_t end_frame = base.end_frame;
  if (!find_place(sqd, length, base, "sqwrite", content_size(ctrl, text), frame)) return 0;

  frame.hdr.prev_frame = prev.offset;
  xmsg.umsgid = base.uid;
  xmsg.attr |= sq_attr_umsgid;
  SqIdx record = {frame.offset, xmsg.umsgid, squish_hash(xmsg.to)};
  SqBase before = base;
  before.end_frame = end_frame;
  if (!write_message(sqd, frame, xmsg, ctrl, text, "sqwrite") ||
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
  SqFrame frame;
  frame.offset = scan.cur_off;
  if (!lock || !read_sqbase(sqd, base) || !read_sqhdr(sqd, frame.offset, sq_message, frame.hdr) ||
      !still_same_message(sqd, frame.offset, scan.xmsg)) {
    log_line(3, "sq_update: rewrite_frame failed (error) \n");
    return false;
  }
  SqIdx& record = scan.list[scan.index - 1];
  uint64_t size = content_size(ctrl, text);
  if (room_in(sqd, base, frame) >= size) {
    if (!write_message(sqd, frame, scan.xmsg, ctrl, text, "rewrite_frame")) return false;
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
