#include "bases/bink.h"

#include <string_view>

#include "bases/flow.h"
#include "bases/outbound_names.h"
#include "bases/packet_file.h"
#include "bases/pkt_records.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/attributes.h"
#include "message/current.h"
#include "outbound/scratch.h"
#include "platform/directory.h"
#include "platform/path.h"

namespace quelmo {
namespace {

// Text behind the last '.' of a name, and whether there is one.
bool has_extension(std::string_view name, std::string_view& extension) {
  size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return false;
  extension = name.substr(dot + 1);
  return true;
}

bool is_zone_extension(std::string_view extension) {
  return extension.size() == 3 && is_hex(extension);
}

bool is_zone_dir(std::string_view name) {
  std::string_view extension;
  return !has_extension(name, extension) || is_zone_extension(extension);
}

bool is_domain_dir(std::string_view name) {
  if (is_known_domain(name)) return true;
  std::string_view extension;
  return has_extension(name, extension) && is_zone_extension(extension) &&
         is_known_domain(name.substr(0, name.size() - extension.size() - 1));
}

// Appends the files of a pattern. In the Binkley layout a name has to be one of a system.
void search_dir(const Area& area, const std::string& pattern, std::vector<std::string>& list) {
  log_line(4, "search_dir: search for filepattern `%s'\n", pattern.c_str());
  std::string dir(dir_part(pattern));
  for (const FoundFile& file : find_files(pattern)) {
    std::string path = dir + file.name;
    bool named = area.outbound_kind != outbound_binkley || read_outbound_name(area, path);
    if (file.is_plain && file.size != 0 && named) list.push_back(std::move(path));
  }
}

void search_zone_dir(const Area& area, const std::string& dir, std::vector<std::string>& list) {
  search_dir(area, dir + "*.?ut", list);
  search_dir(area, dir + "*.?lo", list);
  for (const FoundFile& points : find_files(dir + "*.pnt", Find::directories)) {
    std::string path = dir + points.name;
    path += own_separator(path);
    search_dir(area, path + "*.?ut", list);
    search_dir(area, path + "*.?lo", list);
  }
}

void search_zones(const Area& area, std::vector<std::string>& list) {
  std::string base = outbound_dir(area);
  if (!area.no_main_zone) {
    log_line(4, "select_bink: search for zonedir (nomultid): `%s'", base.c_str());
    if (!area.path.empty() && !is_zone_dir(file_part(base))) {
      log_line(4, "select_bink: not valid zdir `%s'\n", base.c_str());
      return;
    }
    log_line(4, "select_bink: valid zdir found `%s'\n", base.c_str());
    search_zone_dir(area, area.path.empty() ? close_dir(base) : area.path.str(), list);
    return;
  }
  std::string pattern = base + ".*";
  log_line(4, "select_bink: search for zonedir (nomultid): `%s'", pattern.c_str());
  for (const FoundFile& zone : find_files(pattern, Find::directories)) {
    if (!is_zone_dir(zone.name)) {
      log_line(4, "select_bink: not valid zdir `%s'\n", zone.name.c_str());
      continue;
    }
    log_line(4, "select_bink: valid zdir found `%s'\n", zone.name.c_str());
    std::string path = std::string(dir_part(base)) + zone.name;
    search_zone_dir(area, path + own_separator(base), list);
  }
}

void search_domains(const Area& area, std::vector<std::string>& list) {
  std::string dir = close_dir(outbound_dir(area));
  std::string pattern = dir + (area.no_main_zone ? "*.???" : "*");
  log_line(4, "select_bink: search for zonedir (multid): `%s'\n", pattern.c_str());
  for (const FoundFile& domain : find_files(pattern, Find::directories)) {
    if (!is_domain_dir(domain.name)) {
      log_line(4, "select_bink: multid, not valid mzdir `%s'\n", domain.name.c_str());
      continue;
    }
    log_line(4, "select_bink: multid, valid mzdir found `%s'\n", domain.name.c_str());
    std::string path = dir + domain.name;
    search_zone_dir(area, path + own_separator(path), list);
  }
}

bool set_flag(PktScan& scan) {
  std::string flag = flag_of_path(scan.area, scan.name);
  log_line(3, "read_msg (bink): setting bsy: `%s'\n", flag.c_str());
  if (set_bsy(flag, scan.busy_flag)) return true;
  log_line(1, "Skipping busy ?ut/?lo: `%s'\n", scan.name.c_str());
  return false;
}

void release_flag(PktScan& scan, const char* caller) {
  if (!scan.busy_flag.name.empty()) {
    log_line(3, "%s: killing bsy: `%s'\n", caller, scan.busy_flag.name.c_str());
  }
  kill_bsy(scan.busy_flag);
}

// A file that can't be read stands aside; it isn't tried again in this scan.
void give_up(PktScan& scan, bool rename) {
  unload(scan);
  CurMsg.msgno = 0;
  if (rename) mark_bad(scan.name);
  release_flag(scan, "read_msg (bink)");
  scan.index++;
}

// Takes up the next file of the list; false if it is busy, can't be read or has become empty.
bool load_next(PktScan& scan, const char* label) {
  scan.name = scan.list[static_cast<size_t>(scan.index)];
  if (!set_flag(scan)) {
    scan.index++;
    return false;
  }
  bool list = is_list_name(scan.name);
  Load load = list ? read_FLO(scan.name, scan) : load_packet(scan.name, scan);
  if (load == Load::ok && scan.end_off != 0) return true;
  if (load != Load::ok) log_line(3, "%s error reading file `%s'\n", label, scan.name.c_str());
  give_up(scan, load == Load::damaged);
  return false;
}

bool take_message(PktScan& scan) {
  if (scan.is_list) {
    read_FLO_msg(scan, current.text, current.hdr);
    return true;
  }
  if (!read_packed_msg(scan, current.text)) return false;
  packed_to_msg(scan.msg, current.hdr);
  return true;
}

void finish_file(PktScan& scan, const char* caller) {
  save_file(scan);
  release_flag(scan, caller);
}

void finish_at_end(PktScan& scan, const char* caller) {
  if (!scan.loaded || !at_end(scan)) return;
  log_line(4, "%s: eof, saving file: `%s'\n", caller, scan.name.c_str());
  finish_file(scan, caller);
}

// Leaves out the current message. When the rest of a line goes whose beginning stays, its end stays too: the
// next line would run into it.
void leave_out(PktScan& scan) {
  bool open_line = scan.is_list && scan.kept != 0 && !ends_flow_line(scan.buffer[scan.kept - 1]);
  while (open_line && scan.prev_off < scan.cur_off) {
    char byte = scan.buffer[scan.prev_off++];
    scan.dropped = true;
    if (ends_flow_line(byte)) scan.buffer[scan.kept++] = byte;
  }
  drop_current(scan);
}

}  // namespace

std::vector<std::string> list_outbound(const Area& area) {
  std::vector<std::string> list;
  std::string dir = close_dir(outbound_dir(area));
  if (area.outbound_kind == outbound_brake) {
    search_dir(area, dir + "*.Mail", list);
    search_dir(area, dir + "*.List", list);
  } else if (area.outbound_kind == outbound_amiga4d) {
    search_dir(area, dir + "*.?ut", list);
    search_dir(area, dir + "*.?lo", list);
  } else if (area.multi_domain) {
    search_domains(area, list);
  } else {
    search_zones(area, list);
  }
  return list;
}

bool bink_select(const Area& area) {
  PktScan& scan = CurMsg.pkt;
  scan.area = area;
  scan.list = list_outbound(area);
  scan.index = 0;
  return true;
}

bool bink_read(const char* label) {
  PktScan& scan = CurMsg.pkt;
  while (scan.index < static_cast<int>(scan.list.size())) {
    check_signals();
    if (!scan.loaded && !load_next(scan, label)) continue;
    if (!take_message(scan)) {
      log_line(3, "%s error reading next msg in `%s'\n", label, scan.name.c_str());
      give_up(scan, true);
      continue;
    }
    if (at_end(scan)) scan.index++;
    log_line(4, "read_msg (bink): next ?lo/?ut msg read OK\n");
    CurMsg.msgno = ++scan.msg_count;
    return true;
  }
  log_line(3, "%s end of bink area found\n", label);
  return false;
}

uint32_t bink_add(const Area& area, const Msg& msg, const LineList& text) {
  if (writeOIP(area, msg, text)) return 1;
  log_line(0, "add_msg error: failed to add mail to bink area\n");
  return 0;
}

bool bink_update() {
  PktScan& scan = CurMsg.pkt;
  bool changed = current.hdr.has(int_changed);
  bool written = !changed || writeOIP(scan.area, current.hdr, current.text);
  if (changed && written) {
    leave_out(scan);
  } else {
    keep_current(scan);
  }
  if (!written) log_line(0, "update_msg error: failed to write mail to bink area\n");
  finish_at_end(scan, "update_msg");
  return written;
}

bool bink_kill() {
  leave_out(CurMsg.pkt);
  finish_at_end(CurMsg.pkt, "kill_msg");
  return true;
}

void bink_take_route() {
  current.hdr.routeto = CurMsg.pkt.to;
  current.hdr.flavor = flavor_of_name(CurMsg.pkt.area, CurMsg.pkt.name);
}

void bink_close() {
  PktScan& scan = CurMsg.pkt;
  if (scan.loaded) {
    log_line(4, "reset_globals: unread block left, saving file: `%s'\n", scan.name.c_str());
  }
  // A run that is stopped while a file is taken up or finished holds its flag alone.
  finish_file(scan, "reset_globals");
}

}  // namespace quelmo
