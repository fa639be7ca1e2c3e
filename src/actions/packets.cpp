#include "actions/packets.h"

#include <ctime>
#include <string>
#include <vector>

#include "bases/dates.h"
#include "bases/pkt.h"
#include "bases/pkt_header.h"
#include "core/log.h"
#include "core/text.h"
#include "message/current.h"
#include "message/macros.h"
#include "message/write.h"
#include "platform/files.h"

namespace quelmo {
namespace {

bool in_packet() {
  return CurMsg.type == area_pkt && CurMsg.msgno != 0;
}

// "01 Jan 99  12:00:00"
std::string header_date(const PktHeader& h) {
  std::tm fields = {};
  fields.tm_year = h.year - 1900;
  fields.tm_mon = h.month;
  fields.tm_mday = h.day;
  fields.tm_hour = h.hour;
  fields.tm_min = h.minute;
  fields.tm_sec = h.second;
  return unix_to_fts(local_to_unix(fields)).str();
}

// The shared part of CopyPkt and MovePkt: the path of the copy in the area that the call names, empty if
// there is none.
std::string copy_packet(const ScriptCall& call) {
  if (!in_packet()) return {};
  std::string tag = expanded_arg(call, 0);
  if (area_type(tag) != area_pkt) return {};
  const Area* area = find_area(area_pkt, tag);
  if (area == nullptr) {
    log_line(4, "copypkt: couldn't get areapath");
    return {};
  }
  return pkt_copy(*area);
}

}  // namespace

void perl_ReadPkt(ScriptCall& call) {
  bool next = CurMsg.type == area_pkt && pkt_step();
  if (next) {
    write_back();
    next = pkt_take_up();
  }
  call.give_number(next ? 1 : 0);
}

void perl_KillPkt(ScriptCall& call) {
  bool possible = in_packet();
  if (possible) pkt_drop_rest();
  call.give_number(possible ? 1 : 0);
}

void perl_CopyPkt(ScriptCall& call) {
  call.give_number(copy_packet(call).empty() ? 0 : 1);
}

void perl_MovePkt(ScriptCall& call) {
  std::string copy = copy_packet(call);
  bool moved = !copy.empty() && pkt_remove();
  // The packet still stands where it was: its messages would stand twice.
  if (!copy.empty() && !moved && file_exists(CurMsg.pkt.name)) remove_file(copy);
  call.give_number(moved ? 1 : 0);
}

void perl_GetPktHdr(ScriptCall& call) {
  if (!pkt_selected()) return;
  const PktScan& scan = CurMsg.pkt;
  const PktHeader& h = scan.header;
  call.give_list({addr_to_text(scan.from), addr_to_text(scan.to), header_date(h),
                  format_text("%x", h.prodCodeHi), format_text("%x", h.prodCodeLo),
                  format_text("%x", h.revMinor), format_text("%x", h.revMajor), format_text("%x", h.prodData),
                  scan.name});
}

void perl_SetPktHdr(ScriptCall& call) {
  std::vector<std::string> texts;
  if (!pkt_selected() || !call.array(0, texts)) return;
  PktHeader header = CurMsg.pkt.header;
  if (set_pkt_hdr(texts, call.label(), header)) pkt_set_header(header);
}

}  // namespace quelmo
