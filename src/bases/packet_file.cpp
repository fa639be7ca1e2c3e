#include "bases/packet_file.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "bases/pkt_records.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "platform/clock.h"
#include "platform/path.h"

namespace quelmo {
namespace {

constexpr uint64_t largest_file = 0x7FFFFFFF;  // the offsets of the field's programs
constexpr int64_t least_data = 98;             // no message fits in less
constexpr std::string_view text_and_packet_end = {"\0\0\0", 3};

// Opens a packet behind its header.
Fd open_packet(const std::string& path, PktScan& scan, Load& result) {
  Fd file = open_file(path, Open::read);
  if (!file) {
    result = Load::unopened;
    log_line(0, "read_pkt: error opening  file: `%s'\n", path.c_str());
    return file;
  }
  result = Load::damaged;
  char bytes[pkt_header_size];
  ssize_t size = read_some(file, bytes, sizeof bytes);
  if (size != static_cast<ssize_t>(sizeof bytes)) {
    log_line(0, "read_pkt: error reading pkt/?ut file: `%s'\n", path.c_str());
    return Fd();
  }
  PktHeader header;
  read_pkt_header_bytes({bytes, sizeof bytes}, header);
  if (header.packetType != pkt_type_2) {
    log_line(0, "read_pkt error: `%s' is no type 2 pkt file\n", path.c_str());
    return Fd();
  }
  scan.header = header;
  scan.to = pkt_to(header);
  scan.from = pkt_from(header);
  if (log_passes(1)) {
    log_line(1, "Opening 2+ Pkt `%s'  from %s to %s", path.c_str(), addr_to_text(scan.from).c_str(),
             addr_to_text(scan.to).c_str());
  }
  result = Load::ok;
  return file;
}

// The next `size` bytes of the file into the buffer, which never shrinks: growing it again would fill it with
// zeros for each file.
bool fill_buffer(const Fd& file, size_t size, PktScan& scan) {
  if (scan.buffer.size() < size) {
    scan.buffer.clear();
    scan.buffer.resize(size);
  }
  return read_some(file, scan.buffer.data(), size) == static_cast<ssize_t>(size);
}

void begin_file(const std::string& path, const FileInfo& info, size_t end, PktScan& scan) {
  unload(scan);
  scan.name = path;
  scan.file = info;
  scan.end_off = end;
  scan.loaded = true;
}

std::string_view part(const PktScan& scan, size_t from, size_t to) {
  return std::string_view(scan.buffer).substr(from, to - from);
}

bool still_as_loaded(const PktScan& scan) {
  std::optional<FileInfo> now = file_info(scan.name);
  const FileInfo& then = scan.file;
  return now && same_file(*now, then) && now->size == then.size && now->mtime == then.mtime &&
         now->mtime_ns == then.mtime_ns;
}

// A list keeps its identity: mailers and tossers append to it.
bool write_list(const PktScan& scan) {
  Fd file = open_file(scan.name, Open::update);
  std::string_view kept = part(scan, 0, scan.kept);
  std::string_view rest = part(scan, scan.cur_off, scan.end_off);
  return file && write_at(file, kept, 0) && write_at(file, rest, kept.size()) &&
         truncate_at(file, kept.size() + rest.size()) && file.close();
}

bool write_packet(const PktScan& scan) {
  std::string header = pkt_header_bytes(scan.header);
  return rewrite_file(
      scan.name, {header, part(scan, 0, scan.kept), part(scan, scan.cur_off, scan.end_off), pkt_end}, 0600);
}

bool write_file(const PktScan& scan) {
  if (!still_as_loaded(scan)) {
    log_line(0, "update_pkt: pkt/?ut file changed since it was read: `%s'\n", scan.name.c_str());
    return false;
  }
  if (!scan.is_list && scan.kept == 0 && at_end(scan)) {
    log_line(4, "update_pkt: kill empty file `%s'\n", scan.name.c_str());
    if (remove_file(scan.name)) return true;
  } else if (scan.is_list ? write_list(scan) : write_packet(scan)) {
    return true;
  }
  report_errno(scan.name);
  log_line(0, "update_pkt: error writing pkt/?ut file `%s'\n", scan.name.c_str());
  return false;
}

}  // namespace

Load read_pkt_header(const std::string& path, PktScan& scan) {
  Load result = Load::ok;
  open_packet(path, scan, result);
  return result;
}

Load load_packet(const std::string& path, PktScan& scan) {
  unload(scan);
  Load result = Load::ok;
  Fd file = open_packet(path, scan, result);
  if (!file) return result;
  std::optional<FileInfo> info = file_info(file);
  int64_t data = info ? static_cast<int64_t>(info->size) - static_cast<int64_t>(pkt_header_size) : 0;
  if (data < least_data) {
    log_line(0, "read_pkt error: incorrect length of file: `%s'\n", path.c_str());
    return Load::damaged;
  }
  if (info->size > largest_file) {
    log_line(0, "read_pkt error: low memo (text)\n");
    return Load::unopened;
  }
  auto size = static_cast<size_t>(data);
  if (!fill_buffer(file, size, scan)) {
    log_line(0, "read_pkt error: error reading pkt/?ut file: `%s'\n", path.c_str());
    return Load::damaged;
  }
  if (!std::string_view(scan.buffer).substr(0, size).ends_with(text_and_packet_end)) {
    log_line(0, "read_pkt error: grunged pkt/?ut file: `%s'\n", path.c_str());
    return Load::damaged;
  }
  begin_file(path, *info, size - pkt_end.size(), scan);
  scan.is_list = false;
  return Load::ok;
}

Load load_bytes(const std::string& path, PktScan& scan) {
  unload(scan);
  Fd file = open_file(path, Open::read);
  if (!file) return Load::unopened;
  std::optional<FileInfo> info = file_info(file);
  if (!info || info->size > largest_file || !fill_buffer(file, info->size, scan)) return Load::damaged;
  begin_file(path, *info, info->size, scan);
  return Load::ok;
}

bool read_packed_msg(PktScan& scan, LineList& text) {
  size_t at = scan.cur_off;
  Taken taken = take_packed(part(scan, 0, scan.end_off), at, scan.msg, text);
  if (taken == Taken::grunged) {
    log_line(0, "read_pkt_msg error:  message grunged in file `%s'\n", scan.name.c_str());
  }
  if (taken != Taken::whole) return false;
  normalise_pkt_date(scan.msg.header.date);
  scan.prev_off = scan.cur_off;
  scan.cur_off = at;
  return true;
}

void keep_current(PktScan& scan) {
  size_t length = scan.cur_off - scan.prev_off;
  if (scan.kept != scan.prev_off) {
    std::memmove(scan.buffer.data() + scan.kept, scan.buffer.data() + scan.prev_off, length);
  }
  scan.kept += length;
  scan.prev_off = scan.cur_off;
}

void drop_current(PktScan& scan) {
  scan.dropped = scan.dropped || scan.prev_off != scan.cur_off;
  scan.prev_off = scan.cur_off;
}

void drop_rest(PktScan& scan) {
  scan.dropped = scan.dropped || scan.cur_off != scan.end_off;
  scan.end_off = scan.cur_off;
}

bool at_end(const PktScan& scan) {
  return scan.cur_off == scan.end_off;
}

bool save_file(PktScan& scan) {
  if (!scan.loaded) return true;
  log_line(4, "update_pkt: end of pkt/?ut, updating the original file `%s'\n", scan.name.c_str());
  keep_current(scan);
  bool written = (!scan.dropped && !scan.header_set) || write_file(scan);
  unload(scan);
  return written;
}

bool write_copy(const PktScan& scan, const std::string& path) {
  std::string header = pkt_header_bytes(scan.header);
  return rewrite_file(
      path, {header, part(scan, 0, scan.kept), part(scan, scan.prev_off, scan.end_off), pkt_end}, 0600);
}

void unload(PktScan& scan) {
  scan.loaded = false;
  scan.kept = 0;
  scan.prev_off = 0;
  scan.cur_off = 0;
  scan.end_off = 0;
  scan.dropped = false;
  scan.header_set = false;
}

bool set_aside(std::string_view path, const std::string& bad) {
  if (rename_file(path, bad)) return true;
  return errno == EEXIST &&
         rename_file(path, std::string(dir_part(path)) + format_text("%08x.bad", unique_stamp()));
}

void mark_bad(std::string_view path) {
  std::string_view name = file_part(path);
  set_aside(path, std::string(dir_part(path)) + std::string(name.substr(0, name.rfind('.'))) + ".bad");
}

}  // namespace quelmo
