#include "bases/squish_index.h"

#include <algorithm>

#include "core/log.h"
#include "core/stop.h"
#include "platform/lock.h"

namespace quelmo {
namespace {

// True if the message of a record has been killed: its frame is free, or holds one that came later.
bool was_killed(const Fd& sqd, const SqIdx& record) {
  char bytes[sq_hdr_size + sq_xmsg_size];
  ssize_t got = read_at(sqd, bytes, sizeof bytes, record.ofs);
  if (got < ssize_t{sq_hdr_size}) return false;
  ByteReader reader({bytes, static_cast<size_t>(got)});
  SqHdr hdr;
  XMsg xmsg;
  fields(reader, hdr);
  fields(reader, xmsg);
  if (hdr.id != sq_frame_id || hdr.frame_type == sq_being_written) return false;
  bool later = (xmsg.attr & sq_attr_umsgid) != 0 && xmsg.umsgid > record.umsgid;
  return hdr.frame_type == sq_free || later;
}

// A scan that died after kills has left their records. True if the index is right without the records whose
// message is gone; these are then marked as dead, and the index will be written.
bool without_killed(SqScan& scan, uint32_t num_msg) {
  std::vector<size_t> dead;
  for (size_t i = 0; i < scan.list.size(); i++) {
    if (was_killed(scan.sqd, scan.list[i])) dead.push_back(i);
  }
  if (scan.list.size() - dead.size() != num_msg) return false;
  for (size_t entry : dead) mark_dead(scan, entry);
  log_line(0, "squish index: %zu records of killed messages, left by a scan that didn't end\n", dead.size());
  return true;
}

}  // namespace

bool own_index(SqScan& scan, uint32_t num_msg, int64_t& found) {
  found = num_msg;
  if (scan.owns_index) return true;
  found = -1;
  scan.list.clear();
  uint64_t length = sq_length(scan.sqi);
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
    scan.owns_index = found == num_msg || (found > num_msg && without_killed(scan, num_msg));
    return scan.owns_index || sq_fail(fault);
  }
  log_line(2, "fill_idx_list: error reading sqi file\n");
  return sq_fail(sqi_read);
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

std::optional<uint64_t> new_record(const Fd& sqi, const SqScan* scan, const SqBase& base) {
  uint64_t length = sq_length(sqi);
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
  unsigned long long at = number * sq_idx_size;
  if (write_at(sqi, sq_bytes(record), at)) return true;
  log_line(3, "write_SQIDX: error writing *.sqi, asked:%u, written:-1, offset:%08llX\n", sq_idx_size, at);
  return sq_fail(sqi_write);
}

bool write_index(const Fd& sqi, std::string_view bytes) {
  if (!write_at(sqi, bytes, 0)) return sq_fail(sqi_write);
  if (truncate_at(sqi, bytes.size())) return true;
  log_line(0, "save_idx: error truncating *.sqi file\n");
  return sq_fail(sqi_write);
}

void stop_not_in_index(uint32_t offset) {
  log_line(0, "adjust_max: frame %08X isn't in the index\n", offset);
  throw Stop();
}

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

bool merged_index(const SqScan& scan, std::string& out) {
  constexpr int strangers_looked_for = 64;
  // File and list are in the order of the message numbers, so that the entry of a record is looked for from
  // the last one on. Records without one are other programs', added while we scanned.
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

}  // namespace quelmo
