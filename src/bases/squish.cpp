#include "bases/squish.h"

#include <algorithm>
#include <cerrno>

#include "bases/dates.h"
#include "bases/lastread.h"
#include "bases/pack_image.h"
#include "bases/squish_frames.h"
#include "bases/squish_index.h"
#include "bases/squish_write.h"
#include "config/time_stamps.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"
#include "message/kludges.h"

namespace quelmo {
namespace {

bool open_base_file(const std::string& name, const char* what, Fd& file) {
  file = open_file(name, Open::update);
  if (file) return true;
  int error = errno;
  report_errno(name);
  if (error != EACCES) log_line(0, "open_sqbases: error opening %s file\n", what);
  errno = error;
  return false;
}

FtnAddr with_numbers(FtnAddr addr, const SqAddr& stored) {
  addr.zone = stored.zone;
  addr.net = stored.net;
  addr.node = stored.node;
  addr.point = stored.point;
  return addr;
}

SqAddr stored_addr(const FtnAddr& addr) {
  return {addr.zone, addr.net, addr.node, addr.point};
}

// Takes the next line off a control text. A line begins at each CTRL-A; what stands behind a NUL and doesn't
// begin with one is left over from something else.
std::string_view next_control_line(std::string_view& ctrl) {
  while (!ctrl.empty() && ctrl[0] == '\0') {
    size_t next = ctrl.find(soh);
    ctrl.remove_prefix(std::min(next, ctrl.size()));
  }
  size_t end = 1;
  while (end < ctrl.size() && ctrl[end] != soh && ctrl[end] != '\0') end++;
  std::string_view line = ctrl.substr(0, end);
  ctrl.remove_prefix(line.size());
  return line;
}

// What the head of a control text has.
struct ControlHead {
  size_t behind_intl = 0;  // number of lines up to INTL and with it; 0 without one
  bool has_fmpt = false;
  bool has_topt = false;
};

ControlHead look_at_head(std::string_view ctrl) {
  ControlHead head;
  bool leading = true;
  size_t lines = 0;
  for (std::string_view line = next_control_line(ctrl); !line.empty(); line = next_control_line(ctrl)) {
    lines++;
    leading = leading && is_kludge(line);
    if (!leading) break;
    switch (kludge_id(line)) {
      case kludge_intl:
        head.behind_intl = lines;
        break;
      case kludge_fmpt:
        head.has_fmpt = true;
        break;
      case kludge_topt:
        head.has_topt = true;
        break;
      default:
        break;
    }
  }
  return head;
}

void append_control_line(std::string_view line, LineList& lines) {
  constexpr size_t limit = LineList::element_limit;
  // A line that fills its last element gets one more for the CR: what follows must not be taken for its rest.
  for (; line.size() >= limit; line.remove_prefix(limit)) lines.append(line.substr(0, limit));
  char element[limit];
  line.copy(element, line.size());
  element[line.size()] = '\r';
  lines.append({element, line.size() + 1});
}

void append_points(const ControlHead& head, const XMsg& xmsg, LineList& lines) {
  if (!head.has_fmpt && xmsg.orig.point != 0)
    lines.append("\x01" + format_text("FMPT %d\r", xmsg.orig.point));
  if (!head.has_topt && xmsg.dest.point != 0)
    lines.append("\x01" + format_text("TOPT %d\r", xmsg.dest.point));
}

// True if the entry is newer than the area's stamp, or time stamps aren't in use.
bool passes_stamp(const SqScan& scan, const XMsg& xmsg) {
  if (!ts_in_use()) return true;
  auto time = static_cast<uint32_t>(sqdate_to_unix(xmsg.date_arrived));
  if (time == 0) time = static_cast<uint32_t>(sqdate_to_unix(xmsg.date_written));
  if (time <= scan.ts) return false;
  CurMsg.maxts = std::max(CurMsg.maxts, time);
  return true;
}

// The next message that passes the time test; false with sq_errno set.
bool read_sq(SqScan& scan, SqMessage& message) {
  scan.cur_off = 0;
  while (scan.index < scan.total) {
    check_signals();
    uint32_t offset = scan.list[scan.index++].ofs;
    if (offset == sq_dead) continue;
    if (!read_sqmessage(scan.sqd, scan.window, scan.sqd_size, offset, message)) return false;
    if (!passes_stamp(scan, message.xmsg)) continue;
    scan.cur_off = offset;
    return true;
  }
  return sq_fail(sq_end);
}

// An area that can be reached through the scan's own files, or null.
SqScan* scan_of(const Area& area) {
  bool scanned = CurMsg.type == area_squish && equal_nocase(CurMsg.tag, area.tag) && CurMsg.sq.sqd;
  return scanned ? &CurMsg.sq : nullptr;
}

void correct_lastread(SqScan& scan) {
  if (!scan.lastread_known) scan.lastread = open_file(CurMsg.path.str() + ".SQL", Open::update);
  scan.lastread_known = true;
  if (scan.lastread) fix_lastread(scan.lastread, Lastread::squish, CurMsg.lastread_no, CurMsg.lastread_prev);
}

[[noreturn]] void creation_failed(const char* what, const std::string& name) {
  report_errno(name);
  stop_run_logged("create_new_sqbase: error %s %s\n", what, name.c_str());
}

}  // namespace

void create_new_sqbase(std::string_view path) {
  std::string sqi = std::string(path) + ".sqi";
  std::string sqd = std::string(path) + ".sqd";
  if (!open_file(sqi, Open::create_new, 0600)) creation_failed("creating", sqi);
  // Half a base would stop the next run; what was made here goes again.
  auto give_up = [&](const char* what) {
    int error = errno;
    remove_file(sqi);
    errno = error;
    creation_failed(what, sqd);
  };
  Fd base = open_file(sqd, Open::create_new, 0600);
  if (!base) give_up("creating");
  if (write_all(base, sq_bytes(SqBase())) && base.close()) return;
  int error = errno;
  base.reset();
  remove_file(sqd);
  errno = error;
  give_up("wriing");
}

bool open_sqbases(std::string_view path, Fd& sqd, Fd& sqi) {
  std::string base(path);
  if (open_base_file(base + ".sqd", "*.sqd", sqd) && open_base_file(base + ".sqi", "*.sqi", sqi)) return true;
  bool denied = errno == EACCES;
  if (denied) log_line(0, "squish base `%s' locked by another process\n", base.c_str());
  sqd.reset();
  return denied;
}

bool select_squish_area(const Area& area, SqScan& scan) {
  current.sq_errno = sq_ok;
  if (!open_sqbases(area.path, scan.sqd, scan.sqi)) return sq_fail(sq_open);
  log_leftover_image(area, squish_extensions);
  if (!scan.sqd) return true;
  scan.sqd_size = sq_length(scan.sqd);
  if (scan.sqd_size == 0) return true;
  SqBase base;
  if (!read_sqbase(scan.sqd, base)) return false;
  int64_t found = 0;
  if (base.num_msg == 0) {
    // An empty base needs no index, but one with records of killed messages is put right if it can be.
    if (sq_length(scan.sqi) != 0 && !own_index(scan, 0, found)) scan.list.clear();
    current.sq_errno = sq_ok;
    return true;
  }
  if (!own_index(scan, base.num_msg, found)) {
    log_line(0, "select_squish_area error: msg number, expected %u got %lld\n", base.num_msg,
             static_cast<long long>(found));
    return false;
  }
  scan.total = scan.list.size();
  return true;
}

bool squish_select(const Area& area) {
  if (!select_squish_area(area, CurMsg.sq)) {
    CurMsg.sq = SqScan();
    log_line(0, "sqselect error: sqinit failed with errno: %d\n", current.sq_errno);
    sq_error();
    return false;
  }
  CurMsg.sq.ts = ts_in_use() ? get_ts(CurMsg.tag) : 0;
  CurMsg.maxts = CurMsg.sq.ts;
  return true;
}

bool squish_read(const char* label) {
  SqScan& scan = CurMsg.sq;
  SqMessage message;
  if (!read_sq(scan, message)) {
    if (current.sq_errno == sq_end) {
      log_line(3, "%s end of squish area found\n", label);
      return false;
    }
    log_line(0, "read_msg error: squish area read failed with errno: %d\n", current.sq_errno);
    sq_error();
    throw Stop();
  }
  CurMsg.msgno = static_cast<uint32_t>(scan.index);
  CurMsg.lastread_no = CurMsg.msgno;
  scan.xmsg = message.xmsg;
  squish_to_msg(scan.xmsg, current.hdr);
  sqbase_to_text(message.ctrl, message.text, scan.xmsg, current.text);
  return true;
}

uint32_t squish_add(const Area& area, const Msg& msg, const LineList& lines) {
  SqScan* scan = scan_of(area);
  Fd own_sqd;
  Fd own_sqi;
  if (scan == nullptr && (!open_sqbases(area.path, own_sqd, own_sqi) || !own_sqd)) return 0;
  XMsg xmsg;
  std::string ctrl;
  std::string text;
  msg_to_squish(msg, xmsg);
  text_to_sqbase(lines, ctrl, text);
  current.sq_errno = sq_ok;
  const Fd& sqd = scan != nullptr ? scan->sqd : own_sqd;
  const Fd& sqi = scan != nullptr ? scan->sqi : own_sqi;
  uint32_t number = add_squish_msg(sqd, sqi, scan, xmsg, ctrl, text);
  current.lastname = number != 0 ? area.path.view() : std::string_view();
  if (number == 0)
    log_line(0, "add_msg error: failed to add mail to squish area, errno %d\n", current.sq_errno);
  return number;
}

bool squish_update() {
  SqScan& scan = CurMsg.sq;
  std::string ctrl;
  std::string text;
  msg_to_squish(current.hdr, scan.xmsg);
  text_to_sqbase(current.text, ctrl, text);
  if (update_squish_msg(scan, ctrl, text)) return true;
  log_line(0, "update_msg: failed to update squish message\n");
  return false;
}

bool squish_kill() {
  SqScan& scan = CurMsg.sq;
  if (scan.cur_off == 0) return false;
  current.sq_errno = sq_ok;
  if (kill_squish_msg(scan)) {
    correct_lastread(scan);
    return true;
  }
  sq_error();
  return false;
}

void squish_rewind() {
  SqScan& scan = CurMsg.sq;
  scan.index = 0;
  scan.cur_off = 0;
  scan.total = scan.list.size();
  scan.window.forget();
}

void squish_close() {
  if (!save_idx(CurMsg.sq))
    log_line(0, "%s: the index could not be written, errno %d\n", CurMsg.tag.c_str(), current.sq_errno);
  CurMsg.sq = SqScan();
}

void squish_to_msg(const XMsg& xmsg, Msg& msg) {
  msg.to = with_numbers(msg.to, xmsg.dest);
  msg.from = with_numbers(msg.from, xmsg.orig);
  msg.fromname = xmsg.from;
  msg.toname = xmsg.to;
  msg.subject = xmsg.subject;
  msg.date = xmsg.ftsc_date;
  msg.attr = static_cast<uint16_t>(xmsg.attr);
  msg.time = sqdate_to_unix(xmsg.date_written);
}

void msg_to_squish(const Msg& msg, XMsg& xmsg) {
  xmsg.dest = stored_addr(msg.to);
  xmsg.orig = stored_addr(msg.from);
  xmsg.from = msg.fromname;
  xmsg.to = msg.toname;
  xmsg.subject = msg.subject;
  xmsg.ftsc_date = msg.date;
  xmsg.attr = (xmsg.attr & 0xFFFF0000) | msg.attr;
  xmsg.date_written = msg.time != 0 ? unix_to_sqate(msg.time) : 0;
  xmsg.date_arrived = unix_to_sqate(std::time(nullptr));
}

void text_to_sqbase(const LineList& lines, std::string& ctrl, std::string& text) {
  text.reserve(lines.length() + 1);
  bool in_control = true;
  bool goes_on = false;  // the line of the element before isn't ended yet
  bool dropped = false;
  for (std::string_view element : lines) {
    if (element.empty()) continue;
    bool more = goes_on && element[0] != soh;
    if (in_control && !more && (element[0] != soh || is_via(element))) in_control = false;
    if (!in_control) {
      text += element;
      continue;
    }
    if (!more) dropped = element.substr(1).starts_with("FMPT") || element.substr(1).starts_with("TOPT");
    if (!dropped) ctrl += strip_line_end(element);
    goes_on = !ends_line(element) && element.size() == LineList::element_limit;
  }
}

void sqbase_to_text(std::string_view ctrl, std::string_view text, const XMsg& xmsg, LineList& lines) {
  ControlHead head;
  if (xmsg.orig.point != 0 || xmsg.dest.point != 0) head = look_at_head(ctrl);
  lines.clear();
  if (head.behind_intl == 0) append_points(head, xmsg, lines);
  size_t count = 0;
  for (std::string_view line = next_control_line(ctrl); !line.empty(); line = next_control_line(ctrl)) {
    append_control_line(line, lines);
    if (++count == head.behind_intl) append_points(head, xmsg, lines);
  }
  lines.append_split(text);
}

}  // namespace quelmo
