#include "message/scan.h"

#include <string>

#include "bases/base_ops.h"
#include "config/time_stamps.h"
#include "core/console.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/macros.h"
#include "message/parse.h"
#include "message/write.h"

namespace quelmo {
namespace {

void need_area(const char* label) {
  if (CurMsg.tag.empty()) stop_run("%s no area selected\n", label);
}

void select_area(const Area& area, const std::string& tag, const char* label) {
  CurMsg.type = area.type;
  CurMsg.tag = tag;
  CurMsg.path = area.path;
  const BaseOps& ops = base_ops(area.type);
  std::string shown = upper(tag);
  bool selected = ops.select != nullptr && ops.select(area);
  log_line(0, "Scanning %s", shown.c_str());
  if (!selected) stop_run("%s error initializing area : %s\n", label, shown.c_str());
  print_progress("\nScanning %s\r", shown.c_str());
}

}  // namespace

bool read_msg(const char* label) {
  write_back();
  if (CurMsg.msgno != 0) CurMsg.lastread_prev = CurMsg.lastread_no;
  current.text.clear();
  current.vias.clear();
  current.hdr = Msg();
  current.sq_errno = 0;
  current.jam_errno = 0;
  CurMsg.msgno = 0;
  const BaseOps& ops = base_ops(CurMsg.type);
  if (!ops.read(label)) return false;

  if (config.chat) print_progress("Scanning %s         %u\r", upper(CurMsg.tag).c_str(), CurMsg.msgno);
  std::string_view system = area_system(CurMsg.tag);
  Msg& hdr = current.hdr;
  // A line of a list of attached files comes as a finished message.
  if (!hdr.has(int_dummyattach)) {
    parse_msg(hdr, current.text, current.vias, system);
    if (ops.take_route != nullptr) ops.take_route();
    if (za_loop(current.vias, hdr.routeto, system)) hdr.intattr |= int_zaloop;
  }
  current.oldhdr = hdr;
  run.msgs_read++;
  return true;
}

void reset_globals() {
  if (!CurMsg.tag.empty()) set_ts(CurMsg.tag, CurMsg.maxts);
  write_tsfile();
  if (auto close = base_ops(CurMsg.type).close) close();
  CurMsg = CurrentArea();
  current = CurrentMessage();
}

void perl_Scan(ScriptCall& call) {
  write_back();
  reset_globals();
  std::string tag = expanded_arg(call, 0);
  const Area* area = find_area(tag);
  if (area == nullptr) stop_run("%s area not defined: `%s'\n", call.label(), tag.c_str());
  if (call.count() > 1) read_tsfile(config.timestamp_path.str() + expanded_arg(call, 1));
  select_area(*area, tag, call.label());
  call.give_number(1);
}

void perl_ReadMsg(ScriptCall& call) {
  need_area(call.label());
  call.give_number(read_msg(call.label()) ? 1 : 0);
}

void perl_Rewind(ScriptCall& call) {
  need_area(call.label());
  write_back();
  if (auto rewind = base_ops(CurMsg.type).rewind) rewind();
  CurMsg.msgno = 0;
}

}  // namespace quelmo
