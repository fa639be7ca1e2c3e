#include "message/new_head.h"

#include "core/run_state.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/text_edit.h"
#include "platform/clock.h"

namespace quelmo {

std::string intl_kludge(const Msg& msg) {
  FtnAddr to = msg.to;
  FtnAddr from = msg.from;
  to.point = 0;
  from.point = 0;
  return "\x01INTL " + addr_to_text(to) + " " + addr_to_text(from) + "\r";
}

LineList make_kludges(const Msg& msg, bool echomail, uint32_t serial) {
  LineList head;
  auto add = [&](const std::string& line) { add_text(head, line, at_end, Count::body); };
  if (!echomail) {
    add(intl_kludge(msg));
    if (msg.from.point != 0)
      add("\x01"
          "FMPT " +
          std::to_string(msg.from.point) + "\r");
    if (msg.to.point != 0) add("\x01TOPT " + std::to_string(msg.to.point) + "\r");
  }
  add(make_msgid(msg.from, serial));
  add(std::string("\x01PID: ") + program_name + " " + version_string + "\r");
  if (msg.flags != 0) set_flags_kludge(head, flags_to_text(msg.flags));
  return head;
}

std::string make_msgid(const FtnAddr& from, uint32_t serial) {
  if (serial == 0) serial = unique_stamp();
  return "\x01MSGID: " + addr_with_domain(from) + format_text(" %08x\r", serial);
}

}  // namespace quelmo
