#include "bases/flow.h"

#include <algorithm>

#include "bases/dates.h"
#include "bases/outbound_names.h"
#include "core/crc32.h"
#include "core/log.h"
#include "core/run_state.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/new_head.h"
#include "platform/clock.h"

namespace quelmo {
namespace {

constexpr std::string_view line_ends = {"\r\n\0", 3};

}  // namespace

FlowLine take_flow_line(std::string_view list, size_t& at, size_t widest) {
  FlowLine line;
  if (list[at] == '^') line.flags = flags_kfs;
  if (list[at] == '#') line.flags = flags_tfs;
  if (line.flags != 0) at++;
  size_t end = std::min(list.find_first_of(line_ends, at), list.size());
  line.file = list.substr(at, std::min(end - at, widest));
  at += line.file.size();
  for (int i = 0; i < 2 && at < list.size() && line_ends.find(list[at]) != std::string_view::npos; i++) at++;
  return line;
}

Load read_FLO(const std::string& path, PktScan& scan) {
  const Area& area = scan.area;
  std::optional<OutboundName> name = read_outbound_name(area, path);
  FtnAddr unknown = {.zone = config.main_address.zone};
  scan.to = name ? name->to : unknown;
  match_aka(area.system, scan.to, scan.from);
  Load load = load_bytes(path, scan);
  if (load == Load::unopened) log_line(0, "read_FLO: error opening  file: `%s'\n", path.c_str());
  if (load == Load::damaged) log_line(0, "read_FLO: error reading FLO file: `%s'\n", path.c_str());
  if (load != Load::ok) return load;
  scan.is_list = true;
  scan.stamp = unique_stamp();
  if (log_passes(1)) {
    log_line(1, "Opening ?LO `%s'  from %s to %s", path.c_str(), addr_to_text(scan.from).c_str(),
             addr_to_text(scan.to).c_str());
  }
  return Load::ok;
}

void read_FLO_msg(PktScan& scan, LineList& text, Msg& msg) {
  scan.prev_off = scan.cur_off;
  FlowLine line = take_flow_line(std::string_view(scan.buffer).substr(0, scan.end_off), scan.cur_off,
                                 decltype(Msg::subject)::limit);
  msg.to = scan.to;
  msg.from = scan.from;
  msg.routeto = scan.to;
  msg.flavor = flavor_of_name(scan.area, scan.name);
  msg.time = std::time(nullptr);
  msg.date = unix_to_fts(msg.time);
  msg.fromname = std::string(program_name) + " " + version_string;
  msg.toname = "Sysop";
  msg.subject = line.file;
  msg.attr = attr_private | attr_file | attr_local;
  msg.flags = line.flags;
  msg.intattr = int_dummyattach;
  // A list of 10,000 lines can't wait for the clock to give each its own serial.
  text = make_kludges(msg, false, crc32_update(scan.stamp, std::to_string(scan.prev_off)));
  add_via(text, scan.from);
}

}  // namespace quelmo
