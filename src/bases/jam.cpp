#include "bases/jam.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "bases/jam_files.h"
#include "bases/jam_text.h"
#include "bases/lastread.h"
#include "bases/pack_image.h"
#include "config/time_stamps.h"
#include "core/log.h"
#include "core/stop.h"
#include "message/current.h"

namespace quelmo {
namespace {

/// Opens the base of an area for writing, notes its name, reads its head.
bool open_area(const Area& area, JamScan& scan) {
  if (!open_jam(area.path, Open::update, scan)) return false;
  current.lastname = area.path.str();
  return read_jam_info(scan.jhr, scan.info) && measure_jam(scan);
}

void start_scan(JamScan& scan) {
  scan.end = scan.jdx.length;
  scan.active = scan.info.ActiveMsgs;
  scan.next = 0;
  scan.read_count = 0;
  scan.msg_no = 0;
}

/// The record at `scan.next`, which moves on. False at the end of the index, or behind it if its last record
/// isn't whole.
bool next_index_record(JamScan& scan) {
  uint64_t position = scan.next * jam_index_size;
  if (position >= scan.end) return jam_fail(jam_end);
  if (position + jam_index_size > scan.end) return jam_fail(jam_read_failed);
  scan.next++;
  std::optional<std::string_view> bytes = scan.jdx.window.at(scan.jdx.fd, position, jam_index_size);
  if (!bytes || bytes->size() < jam_index_size) return jam_fail(jam_read_failed);
  scan.idx = jam_decode<JAMIDX>(*bytes);
  return true;
}

/// True if the time stamps leave the message to this scan.
bool newer_than_stamp(const JamScan& scan) {
  if (!ts_in_use()) return true;
  const JAMHDR& hdr = scan.hdr;
  uint32_t t = hdr.DateProcessed != 0 ? hdr.DateProcessed : hdr.DateReceived;
  if (t == 0) t = hdr.DateWritten;
  if (t <= scan.ts) return false;
  CurMsg.maxts = std::max(CurMsg.maxts, t);
  return true;
}

bool load_message(JamScan& scan) {
  const JAMHDR& hdr = scan.hdr;
  std::optional<std::string_view> subfields =
      window_at(scan.jhr, uint64_t{scan.idx.HdrOffset} + jam_header_size, hdr.SubfieldLen);
  if (!subfields) return jam_fail(jam_read_failed);
  std::optional<std::string_view> body = window_at(scan.jdt, hdr.TxtOffset, hdr.TxtLen);
  if (!body) return jam_fail(jam_read_failed);
  jam_to_msg(hdr, *subfields, *body, scan.tail, current.hdr, current.text);
  return true;
}

/// The next message of the scan; at the end of the area the code is jam_end.
bool read_jam(JamScan& scan) {
  current.jam_errno = jam_ok;
  while (scan.read_count != scan.active) {
    check_signals();
    if (!next_index_record(scan)) return false;
    if (scan.idx.dead()) continue;
    if (!load_jam_header(scan.jhr, scan.idx.HdrOffset, scan.hdr)) return false;
    if ((scan.hdr.Attribute & jam_deleted) != 0) {
      log_line(4, "jam read: del attr set, but index != 0xffff\n");
      continue;
    }
    scan.read_count++;
    if (!newer_than_stamp(scan)) continue;
    scan.msg_no = static_cast<uint32_t>(scan.info.BaseMsgNum + scan.next - 1);
    return load_message(scan);
  }
  return jam_fail(jam_end);
}

// The lengths that the files had before a write that adds to them.
struct FileEnds {
  uint64_t jhr = 0;
  uint64_t jdt = 0;
  uint64_t jdx = 0;
};

FileEnds ends_of(const JamScan& scan) {
  return {scan.jhr.length, scan.jdt.length, scan.jdx.length};
}

// Behind a write that failed.
void take_back(const JamScan& scan, const FileEnds& ends) {
  truncate_at(scan.jhr.fd, ends.jhr);
  truncate_at(scan.jdt.fd, ends.jdt);
}

/// False, logged at level 0, if `size` more bytes lead beyond what 32 bits address.
bool fits(const WindowedFile& file, uint64_t size, const char* extension) {
  if (file.length + size <= UINT32_MAX) return true;
  log_line(0, "JAM base is full: *%s would pass 4 GB\n", extension);
  return jam_fail(jam_write_failed);
}

uint64_t index_position(const JamScan& scan) {
  return (scan.next - 1) * jam_index_size;
}

/// Reads head and header as they stand on the disk, under the lock. False if the message in hand isn't the
/// one that was read: another program has packed the base or changed the message. What mail readers and reply
/// linkers alter is taken over.
bool fetch_current(JamScan& scan, JAMHDRINFO& info) {
  current.jam_errno = jam_ok;
  std::string bytes;
  if (!read_jam_info(scan.jhr, info)) return false;
  if (!jam_read_at(scan.jdx.fd, index_position(scan), jam_index_size, bytes)) return false;
  bool same = info.BaseMsgNum + scan.next - 1 == scan.msg_no && jam_decode<JAMIDX>(bytes) == scan.idx;
  if (same) {
    if (!jam_read_at(scan.jhr.fd, scan.idx.HdrOffset, jam_header_size, bytes)) return false;
    auto now = jam_decode<JAMHDR>(bytes);
    JAMHDR expected = scan.hdr;
    expected.TimesRead = now.TimesRead;
    expected.ReplyTo = now.ReplyTo;
    expected.Reply1st = now.Reply1st;
    expected.ReplyNext = now.ReplyNext;
    same = now == expected;
    if (same) scan.hdr = now;
  }
  if (same) return true;
  log_line(1, "JAM message %u changed since it was read\n", scan.msg_no);
  return jam_fail(jam_read_failed);
}

bool count_change(const JamScan& scan, JAMHDRINFO info, int change) {
  if (change > 0 || (change < 0 && info.ActiveMsgs > 0)) info.ActiveMsgs += static_cast<uint32_t>(change);
  info.ModCounter++;
  return jam_write_at(scan.jhr.fd, jam_encode(info), 0);
}

/// Writes a new message behind the others; its number, or 0.
uint32_t write_new(JamScan& scan, JAMHDR& hdr, const JAMIDX& idx, const JamParts& parts) {
  uint64_t number = scan.jdx.length / jam_index_size + scan.info.BaseMsgNum;
  bool room = fits(scan.jhr, jam_header_size + parts.subfields.size(), ".jhr") &&
              fits(scan.jdt, parts.body.size(), ".jdt") &&
              (number < UINT32_MAX || jam_fail(jam_write_failed));
  if (!room) return 0;
  FileEnds ends = ends_of(scan);
  hdr.MsgNum = static_cast<uint32_t>(number);
  hdr.TxtOffset = static_cast<uint32_t>(ends.jdt);
  bool counted = false;
  if (jam_write_at(scan.jdt.fd, parts.body, ends.jdt) &&
      jam_write_at(scan.jhr.fd, jam_encode(hdr) + parts.subfields, ends.jhr)) {
    counted = true;
    if (count_change(scan, scan.info, 1) &&
        jam_write_at(scan.jdx.fd, jam_encode(idx), ends.jdx / jam_index_size * jam_index_size)) {
      return hdr.MsgNum;
    }
  }
  if (counted) write_at(scan.jhr.fd, jam_encode(scan.info), 0);
  take_back(scan, ends);
  truncate_at(scan.jdx.fd, ends.jdx);
  return 0;
}

uint32_t add_jam_msg(JamScan& scan, const Msg& msg, const LineList& text, bool echo_area) {
  JAMHDR hdr = {.Signature = jam_signature, .Revision = jam_revision};
  JAMIDX idx;
  JamParts parts;
  msg_to_jam(msg, hdr);
  hdr.Attribute |= echo_area ? jam_echomail : jam_netmail;
  text_to_jam(msg, text, {}, hdr, idx, parts);
  JamLock lock(scan.jhr.fd, false);
  if (!lock || !read_jam_info(scan.jhr, scan.info) || !measure_jam(scan)) return 0;
  idx.HdrOffset = static_cast<uint32_t>(scan.jhr.length);
  return write_new(scan, hdr, idx, parts);
}

bool mark_jam_deleted(const JamScan& scan, uint32_t offset, JAMHDR old) {
  old.Attribute |= jam_deleted;
  old.TxtLen = 0;
  return jam_write_at(scan.jhr.fd, jam_encode(old), offset);
}

/// What stands of the message in hand behind its header, and in .jdt. The lengths of the files are those of
/// now.
bool fetch_parts(const JamScan& scan, JamParts& old) {
  const JAMHDR& hdr = scan.hdr;
  uint64_t subfields_at = uint64_t{scan.idx.HdrOffset} + jam_header_size;
  if (subfields_at + hdr.SubfieldLen > scan.jhr.length ||
      uint64_t{hdr.TxtOffset} + hdr.TxtLen > std::max<uint64_t>(scan.jdt.length, hdr.TxtOffset)) {
    return jam_fail(jam_read_failed);
  }
  return jam_read_at(scan.jhr.fd, subfields_at, hdr.SubfieldLen, old.subfields) &&
         jam_read_at(scan.jdt.fd, hdr.TxtOffset, hdr.TxtLen, old.body);
}

/// Puts the new form of the message in hand in the place of the old one.
bool write_update(JamScan& scan, const JAMHDRINFO& info, JAMHDR hdr, JAMIDX idx, const JamParts& parts,
                  const JamParts& old) {
  FileEnds ends = ends_of(scan);
  bool moves = parts.subfields.size() > old.subfields.size();
  if (moves) {
    if (!fits(scan.jhr, jam_header_size + parts.subfields.size(), ".jhr")) return false;
    idx.HdrOffset = static_cast<uint32_t>(ends.jhr);
  }
  if (parts.body.size() > old.body.size()) {
    if (!fits(scan.jdt, parts.body.size(), ".jdt")) return false;
    hdr.TxtOffset = static_cast<uint32_t>(ends.jdt);
  }
  bool text_written = parts.body == old.body || jam_write_at(scan.jdt.fd, parts.body, hdr.TxtOffset);
  if (!text_written || !jam_write_at(scan.jhr.fd, jam_encode(hdr) + parts.subfields, idx.HdrOffset)) {
    take_back(scan, ends);
    return false;
  }
  if (!jam_write_at(scan.jdx.fd, jam_encode(idx), index_position(scan))) return false;
  JAMHDR old_hdr = std::exchange(scan.hdr, hdr);
  JAMIDX old_idx = std::exchange(scan.idx, idx);
  if (moves && !mark_jam_deleted(scan, old_idx.HdrOffset, old_hdr)) return false;
  return count_change(scan, info, 0);
}

bool update_jam_msg(JamScan& scan, const Msg& msg, const LineList& text) {
  JamLock lock(scan.jhr.fd, true);
  JAMHDRINFO info;
  JamParts old;
  if (!lock || !fetch_current(scan, info) || !measure_jam(scan) || !fetch_parts(scan, old)) return false;
  JAMHDR hdr = scan.hdr;
  JAMIDX idx = scan.idx;
  JamParts parts;
  msg_to_jam(msg, hdr);
  text_to_jam(msg, text, old.subfields, hdr, idx, parts);
  return write_update(scan, info, hdr, idx, parts, old);
}

bool kill_jam_msg(JamScan& scan) {
  JamLock lock(scan.jhr.fd, true);
  JAMHDRINFO info;
  if (!lock || !fetch_current(scan, info)) return false;
  scan.hdr.Attribute |= jam_deleted;
  if (!jam_write_at(scan.jhr.fd, jam_encode(scan.hdr), scan.idx.HdrOffset)) return false;
  scan.idx = JAMIDX();
  if (!jam_write_at(scan.jdx.fd, jam_encode(scan.idx), index_position(scan))) return false;
  if (!count_change(scan, info, -1)) return false;
  // Some write it in upper case; there may be none.
  if (!std::exchange(scan.jlr_tried, true)) {
    scan.jlr = open_file(CurMsg.path.str() + ".jlr", Open::update);
  }
  if (scan.jlr) fix_lastread(scan.jlr, Lastread::jam, CurMsg.lastread_no, CurMsg.lastread_prev);
  return true;
}

}  // namespace

bool jam_select(const Area& area) {
  JamScan& scan = CurMsg.jam;
  current.jam_errno = jam_ok;
  log_leftover_image(area, jam_extensions);
  if (!open_area(area, scan)) {
    log_line(0, "JAMselect error: init failed with errno: %d\n", current.jam_errno);
    return false;
  }
  start_scan(scan);
  scan.ts = ts_in_use() ? get_ts(CurMsg.tag) : 0;
  CurMsg.maxts = scan.ts;
  return true;
}

bool jam_read(const char* label) {
  JamScan& scan = CurMsg.jam;
  if (read_jam(scan)) {
    CurMsg.msgno = scan.read_count;
    CurMsg.lastread_no = scan.msg_no;
    return true;
  }
  if (current.jam_errno != jam_end) {
    log_line(0, "read_msg error: JAM area read failed with errno: %d\n", current.jam_errno);
    throw Stop();
  }
  log_line(3, "%s end of JAM area found\n", label);
  return false;
}

uint32_t jam_add(const Area& area, const Msg& msg, const LineList& text) {
  bool scanned = CurMsg.type == area_jam && CurMsg.jam.jhr.fd && equal_nocase(CurMsg.tag, area.tag);
  JamScan own;
  current.jam_errno = jam_ok;
  if (!scanned && !open_area(area, own)) return 0;
  if (scanned) current.lastname = CurMsg.path.str();
  JamScan& scan = scanned ? CurMsg.jam : own;
  uint32_t number = add_jam_msg(scan, msg, text, area.echomail);
  if (number == 0) {
    log_line(0, "add_msg error: failed to add mail to JAM area, errno %d\n", current.jam_errno);
  }
  return number;
}

bool jam_update() {
  if (update_jam_msg(CurMsg.jam, current.hdr, current.text)) return true;
  log_line(0, "update_msg: failed to update JAM message\n");
  return false;
}

bool jam_kill() {
  return kill_jam_msg(CurMsg.jam);
}

void jam_rewind() {
  JamScan& scan = CurMsg.jam;
  // What this and other programs wrote since counts from here on.
  for (WindowedFile* file : {&scan.jhr, &scan.jdt, &scan.jdx}) file->window.forget();
  if (read_jam_info(scan.jhr, scan.info)) measure_jam(scan);
  start_scan(scan);
}

void jam_close() {
  CurMsg.jam = JamScan();
}

}  // namespace quelmo
