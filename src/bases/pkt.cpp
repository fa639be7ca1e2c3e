#include "bases/pkt.h"

#include <algorithm>
#include <string>

#include "bases/packet_file.h"
#include "bases/pkt_header.h"
#include "bases/pkt_records.h"
#include "bases/pkt_write.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "platform/directory.h"
#include "platform/path.h"

namespace quelmo {
namespace {

// True if `text` begins with four numbers that dots part.
bool begins_with_address(std::string_view text) {
  for (int i = 0; i < 4; i++) {
    size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0) return false;
    text.remove_prefix(digits);
    if (i == 3) return true;
    if (text.empty() || text[0] != '.') return false;
    text.remove_prefix(1);
  }
  return true;
}

// The name of a directory in a file box: the address itself, or the address behind a domain, which may have
// dots of its own.
bool is_box_name(BoxKind kind, std::string_view name) {
  if (kind == box_t) return begins_with_address(name);
  for (size_t dot = name.find('.'); dot != std::string_view::npos; dot = name.find('.', dot + 1)) {
    if (begins_with_address(name.substr(dot + 1))) return true;
  }
  return false;
}

void list_packets(const std::string& dir, std::vector<std::string>& list) {
  for (const FoundFile& file : find_files(dir + "*.pkt")) {
    if (file.is_plain && is_pkt_name(file.name)) list.push_back(dir + file.name);
  }
}

void end_file(PktScan& scan) {
  if (scan.packet_done) return;
  scan.packet_done = true;
  scan.index++;
}

// Behind the last message the file is written.
void finish_at_end(PktScan& scan, const char* caller) {
  if (!scan.loaded || !at_end(scan)) return;
  log_line(4, "%s: eof, saving file: `%s'\n", caller, scan.name.c_str());
  save_file(scan);
}

// A damaged file stands aside with all that is in it.
void give_up(PktScan& scan, bool rename) {
  unload(scan);
  CurMsg.msgno = 0;
  if (rename) mark_bad(scan.name);
  end_file(scan);
}

bool load_next(PktScan& scan, const char* label) {
  scan.name = scan.list[static_cast<size_t>(scan.index)];
  scan.packet_done = false;
  Load load = load_packet(scan.name, scan);
  if (load == Load::ok) {
    log_line(4, "read_msg (pkt): pkt read in memory OK\n");
    return true;
  }
  log_line(3, "%s error reading file `%s'\n", label, scan.name.c_str());
  give_up(scan, load == Load::damaged);
  return false;
}

// The header of the packet that a changed message goes to. With another destination it gets that one's zones
// and password: the old password is nobody else's.
PktHeader header_for(const PktScan& scan, const FtnAddr& to) {
  PktHeader header = scan.header;
  if (addr_equal(to, scan.to)) return header;
  set_pkt_to(header, to);
  set_pkt_password(header, packet_password(scan.area, to));
  return header;
}

FtnAddr packed_origin(const Msg& msg) {
  return msg.pktfrom.zone != 0 ? msg.pktfrom : msg.from;
}

bool write_changed(const PktScan& scan) {
  const Msg& hdr = current.hdr;
  return write_pkt_msg(scan.area, header_for(scan, hdr.routeto), msg_to_packed(hdr, packed_origin(hdr)),
                       current.text, hdr.flavor);
}

uint32_t add_to(const Area& area, const Msg& msg, const LineList& text, const PktHeader& header) {
  if (write_pkt_msg(area, header, msg_to_packed(msg, packed_origin(msg)), text, msg.flavor)) return 1;
  log_line(0, "add_msg error: failed to add mail to pkt area\n");
  return 0;
}

}  // namespace

bool is_pkt_name(std::string_view name) {
  constexpr size_t digits = 8;
  return name.size() == digits + 4 && equal_nocase(name.substr(digits), ".pkt") &&
         is_hex(name.substr(0, digits));
}

bool pkt_select(const Area& area) {
  PktScan& scan = CurMsg.pkt;
  forget_pkt_names();
  scan.area = area;
  scan.index = -1;
  std::string dir = area.path.str();
  if (area.box_kind == box_none) {
    list_packets(dir, scan.list);
    return true;
  }
  for (const FoundFile& box : find_files(dir + "*", Find::directories)) {
    if (!is_box_name(area.box_kind, box.name)) continue;
    std::string path = dir + box.name;
    list_packets(path + own_separator(path), scan.list);
  }
  return true;
}

bool pkt_read(const char* label) {
  PktScan& scan = CurMsg.pkt;
  scan.index = std::max(scan.index, 0);
  while (scan.index < static_cast<int>(scan.list.size())) {
    check_signals();
    if (!scan.loaded && !load_next(scan, label)) continue;
    if (!read_packed_msg(scan, current.text)) {
      log_line(3, "%s error reading pkt msg, read next *.pkt\n", label);
      give_up(scan, true);
      continue;
    }
    if (at_end(scan)) end_file(scan);
    packed_to_msg(scan.msg, current.hdr);
    CurMsg.msgno = ++scan.msg_count;
    return true;
  }
  log_line(3, "%s end of pkt area found\n", label);
  return false;
}

uint32_t pkt_add(const Area& area, const Msg& msg, const LineList& text) {
  FtnAddr aka;
  match_aka(area.system, msg.routeto, aka);
  return add_to(area, msg, text, make_pkt_header(area, aka, msg.routeto));
}

uint32_t pkt_add_with(const Area& area, const Msg& msg, const LineList& text, const PktHeader& header) {
  PktHeader own = header;
  own.baud = 0;
  own.packetType = pkt_type_2;
  own.capWord = pkt_cap_word;
  own.cwCopy = pkt_cap_word_copy;
  return add_to(area, msg, text, own);
}

bool pkt_update() {
  PktScan& scan = CurMsg.pkt;
  bool changed = current.hdr.has(int_changed);
  bool written = !changed || write_changed(scan);
  if (changed && written) {
    drop_current(scan);
  } else {
    keep_current(scan);
  }
  if (!written) log_line(0, "update_msg: failed to update mail in pkt area\n");
  finish_at_end(scan, "update_msg");
  return written;
}

bool pkt_kill() {
  drop_current(CurMsg.pkt);
  finish_at_end(CurMsg.pkt, "kill_msg");
  return true;
}

void pkt_take_route() {
  current.hdr.routeto = CurMsg.pkt.to;
}

void pkt_close() {
  PktScan& scan = CurMsg.pkt;
  if (!scan.loaded) return;
  log_line(4, "reset_globals: unread block left, saving file: `%s'\n", scan.name.c_str());
  save_file(scan);
}

bool pkt_step() {
  PktScan& scan = CurMsg.pkt;
  if (scan.index == -1) {
    scan.index = 0;
  } else if (scan.packet_done) {
    scan.packet_done = false;
  } else if (scan.index < static_cast<int>(scan.list.size())) {
    scan.index++;
  }
  return scan.index < static_cast<int>(scan.list.size());
}

bool pkt_take_up() {
  PktScan& scan = CurMsg.pkt;
  save_file(scan);
  forget_message();
  current.hdr = Msg();
  scan.name = scan.list[static_cast<size_t>(scan.index)];
  return read_pkt_header(scan.name, scan) == Load::ok;
}

std::string pkt_copy(const Area& area) {
  std::string path = new_pkt_name(area.path);
  if (path.empty() || write_copy(CurMsg.pkt, path)) return path;
  report_errno(path);
  log_line(0, "update_pkt: error writing pkt/?ut file `%s'\n", path.c_str());
  return {};
}

void pkt_drop_rest() {
  PktScan& scan = CurMsg.pkt;
  keep_current(scan);
  drop_rest(scan);
  save_file(scan);
  end_file(scan);
  forget_message();
  current.hdr = Msg();
}

bool pkt_remove() {
  PktScan& scan = CurMsg.pkt;
  scan.kept = 0;
  scan.dropped = true;
  drop_current(scan);
  drop_rest(scan);
  bool removed = save_file(scan);
  end_file(scan);
  forget_message();
  current.hdr = Msg();
  return removed;
}

bool pkt_selected() {
  return CurMsg.type == area_pkt && !CurMsg.pkt.name.empty();
}

void pkt_set_header(const PktHeader& header) {
  PktScan& scan = CurMsg.pkt;
  // A header that is set ahead of the first message goes with the packet all the same.
  if (!scan.loaded && !scan.packet_done) load_packet(scan.name, scan);
  scan.header = header;
  scan.header_set = true;
  scan.to = pkt_to(header);
  scan.from = pkt_from(header);
}

}  // namespace quelmo
