#include "bases/fido.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include "bases/dates.h"
#include "bases/fido_msg.h"
#include "bases/highwater.h"
#include "bases/lastread.h"
#include "config/time_stamps.h"
#include "core/console.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"
#include "message/text_edit.h"
#include "platform/path.h"

namespace quelmo {
namespace {

constexpr std::string_view lastread_name = "LASTREAD";
constexpr uint64_t largest_message = 1 << 30;  // no mail, and not to be taken into memory
constexpr size_t usual_message = 32768;        // read in one go

uint32_t name_number(std::string_view name) {
  return static_cast<uint32_t>(std::min<long>(to_number(name.substr(0, name.find('.'))), UINT32_MAX));
}

// Time of a listed file, shifted to local time as the stamps are; 0 if the file is gone by now.
uint32_t file_time(const Directory& directory, const char* name) {
  std::optional<FileInfo> info = directory.info(name);
  if (info) return static_cast<uint32_t>(info->mtime + utc_offset_hours() * 3600L);
  if (!directory.has(name)) return 0;
  report_errno("stat");
  throw Stop();
}

// Lists the messages of `path` that are newer than `scan.ts`, by number. The times are looked up only where
// time stamps are in use, or where an entry is no plain file.
void list_messages(std::string_view path, bool with_times, FidoScan& scan) {
  if (!scan.directory.open(path)) return;
  scan.directory.each_name([&](std::string_view name, bool plain_file) {
    if (equal_nocase(name, lastread_name)) scan.lastread = name;
    if (!is_msg_name(name)) return;
    FidoListEntry entry = {.number = name_number(name), .name_at = scan.names.size()};
    scan.names.append(name).push_back('\0');
    scan.list.push_back(entry);
    if (!with_times && plain_file) return;
    uint32_t time = file_time(scan.directory, scan.name(scan.list.size() - 1));
    scan.list.back().time = with_times ? time : 0;
    if (time <= scan.ts) {
      scan.list.pop_back();
      scan.names.resize(entry.name_at);
    }
  });
  std::sort(scan.list.begin(), scan.list.end(), [&](const FidoListEntry& a, const FidoListEntry& b) {
    if (a.number != b.number) return a.number < b.number;
    std::string_view name_a = scan.names.c_str() + a.name_at;
    std::string_view name_b = scan.names.c_str() + b.name_at;
    return name_a < name_b;
  });
}

std::string current_file() {
  return CurMsg.path.str() + CurMsg.fido.current_name();
}

// The buffer never shrinks: growing it again would fill it with zeros for each message.
char* room_for(std::string& buffer, size_t size) {
  if (buffer.size() < size) buffer.resize(size);
  return buffer.data();
}

// The bytes of a message file, in scan.buffer, up to the NUL that ends the text at the least; nothing, with
// errno, if there are none to be had.
std::optional<std::string_view> load_file(FidoScan& scan, const Fd& fd) {
  ssize_t size = read_head(fd, room_for(scan.buffer, usual_message), usual_message);
  if (size < 0) return std::nullopt;
  std::string_view head = std::string_view(scan.buffer).substr(0, static_cast<size_t>(size));
  // With the closing NUL the message is whole, and its file needn't be asked for its size. (A device gives as
  // much as is asked for.)
  bool short_file = head.size() < usual_message;
  if (short_file && head.find('\0', fido_header_size) != std::string_view::npos) return head;

  std::optional<FileInfo> info = file_info(fd);
  if (!info) return std::nullopt;
  if (info->size > largest_message) {
    errno = EFBIG;
    return std::nullopt;
  }
  size = read_at(fd, room_for(scan.buffer, info->size), info->size, 0);
  if (size == static_cast<ssize_t>(info->size)) return std::string_view(scan.buffer).substr(0, info->size);
  if (size >= 0) errno = EIO;
  return std::nullopt;
}

bool read_fido_msg(FidoScan& scan, const char* name, std::time_t& time) {
  Fd file = scan.directory.open_file(name, Open::update);
  std::optional<std::string_view> bytes;
  if (file) bytes = load_file(scan, file);
  if (!bytes) {
    report_errno(CurMsg.path.str() + name);
    return false;
  }
  scan.file_size = bytes->size();
  return parse_fido_msg(*bytes, scan.header, current.text, time);
}

// True if the message file holds what was read of it. Nothing locks a *.MSG file: what another program wrote
// into it since (the rest of a message that was still growing, the mark of one that was sent) must neither be
// overwritten nor deleted unseen.
bool still_as_read(const FidoScan& scan) {
  Fd file = scan.directory.open_file(scan.current_name(), Open::read);
  if (!file) return false;
  std::string_view rest = std::string_view(scan.buffer).substr(0, scan.file_size);
  char block[16384];
  ssize_t size = 0;
  while ((size = read_some(file, block, sizeof block)) > 0) {
    std::string_view now(block, static_cast<size_t>(size));
    if (!rest.starts_with(now)) break;
    rest.remove_prefix(now.size());
  }
  if (size == 0 && rest.empty()) return true;
  log_line(1, "message file changed since it was read: `%s'\n", current_file().c_str());
  return false;
}

void correct_lastread() {
  const FidoScan& scan = CurMsg.fido;
  Fd file;
  if (!scan.lastread.empty()) {
    file = scan.directory.open_file(scan.lastread.c_str(), Open::update);
  } else {
    // It may have come since the listing; the two spellings that programs give it are tried.
    file = scan.directory.open_file("LASTREAD", Open::update);
    if (!file) file = scan.directory.open_file("lastread", Open::update);
  }
  if (file) fix_lastread(file, Lastread::fido, CurMsg.lastread_no, CurMsg.lastread_prev);
}

}  // namespace

bool fido_select(const Area& area) {
  FidoScan& scan = CurMsg.fido;
  scan.ts = ts_in_use() ? get_ts(CurMsg.tag) : 0;
  CurMsg.maxts = scan.ts;
  list_messages(area.path, ts_in_use(), scan);
  return true;
}

bool fido_read(const char* label) {
  FidoScan& scan = CurMsg.fido;
  while (scan.index < scan.list.size()) {
    check_signals();
    const FidoListEntry& entry = scan.list[scan.index++];
    const char* name = scan.current_name();
    if (log_passes(4))
      log_line(4, "read_msg (fido): about to read fido msg file: `%s'\n", current_file().c_str());
    std::time_t time = 0;
    if (!read_fido_msg(scan, name, time)) {
      log_line(0, "%s error reading fido msg file : `%s'\n", label, current_file().c_str());
      continue;
    }
    CurMsg.msgno = static_cast<uint32_t>(scan.index);
    CurMsg.lastread_no = entry.number;
    CurMsg.maxts = std::max(CurMsg.maxts, entry.time);
    fido_to_msg(scan.header, time, current.hdr);
    log_line(4, "read_msg (fido): fido msg %u read ok\n", CurMsg.msgno);
    return true;
  }
  log_line(3, "%s end of fido area found\n", label);
  return false;
}

uint32_t fido_add(const Area& area, const Msg& msg, const LineList& text) {
  FidoHeader header;
  msg_to_fido(msg, header);
  uint32_t n = get_highwater(area.tag, area.path, "msg");
  std::string path = area.path.str() + std::to_string(n) + ".msg";
  log_line(4, "create_fido_msg: add mail to fido area `%s' : `%s'\n", area.tag.c_str(), path.c_str());
  if (!write_fido_msg(path, header, text)) {
    log_line(0, "add_msg error: failed to add mail to fido area\n");
    return 0;
  }
  current.lastname = path;
  return n;
}

bool fido_update() {
  FidoScan& scan = CurMsg.fido;
  msg_to_fido(current.hdr, scan.header);
  std::string name = current_file();
  std::string tmp = CurMsg.path.str() + std::to_string(CurMsg.msgno) + ".#";
  // What an earlier run left behind is no message.
  scan.directory.remove((std::to_string(CurMsg.msgno) + ".#").c_str());
  if (!write_fido_msg(tmp, scan.header, current.text)) {
    log_line(0, "update_msg: error writing tmp file `%s'\n", tmp.c_str());
    return false;
  }
  // A message that another program has deleted doesn't come back.
  if (!still_as_read(scan)) {
    log_line(0, "update_msg: error deleting old msg file: `%s'\n", name.c_str());
    remove_file(tmp);
    return false;
  }
  if (!replace_file(tmp, name, false)) {
    log_line(0, "update_msg: error renaming tmp file `%s' to '%s'\n", tmp.c_str(), name.c_str());
    remove_file(tmp);
    return false;
  }
  return true;
}

bool fido_kill() {
  const FidoScan& scan = CurMsg.fido;
  if (!still_as_read(scan) || !scan.directory.remove(scan.current_name())) {
    log_line(4, "kill_fido_msg: error deleting msg file: `%s'\n", current_file().c_str());
    return false;
  }
  correct_lastread();
  return true;
}

void fido_rewind() {
  CurMsg.fido.index = 0;
}

void fido_close() {
  CurMsg.fido = FidoScan();
}

bool fido_look(std::string_view path, Look& look) {
  std::string dir = close_dir(path);
  FidoScan scan;
  list_messages(dir, false, scan);
  if (!scan.directory) {
    report_errno(dir);
    return false;
  }
  for (size_t i = 0; i < scan.list.size(); i++) {
    Fd file = scan.directory.open_file(scan.name(i), Open::read);
    std::optional<std::string_view> bytes;
    if (file) bytes = load_file(scan, file);
    Msg msg;
    LineList text;
    if (!bytes) {
      look.fault("%s: can't be read: %s", scan.name(i), system_error(errno).c_str());
    } else if (!parse_fido_msg(*bytes, scan.header, text, msg.time)) {
      look.fault("%s: %zu bytes, fewer than a header", scan.name(i), bytes->size());
    } else {
      std::time_t time = msg.time;
      fido_to_msg(scan.header, time, msg);
      look.message(scan.list[i].number, msg);
    }
  }
  return true;
}

int renumber_fido(const Area& area) {
  FidoScan scan;
  list_messages(area.path, false, scan);
  if (scan.list.empty()) return 1;
  ProgressLine progress("Renumbering *.MSG base (" + upper(area.tag) + ") ", scan.list.size(), 66);
  for (size_t i = 0; i < scan.list.size(); i++) {
    check_signals();
    rename_file(area.path.str() + scan.name(i), area.path.str() + std::to_string(i + 1) + ".msg");
    progress.one_more();
  }
  progress.done();
  log_line(1, "Fido area: %s.  %zu messages renumbered\n", area.tag.c_str(), scan.list.size());
  return 1;
}

}  // namespace quelmo
