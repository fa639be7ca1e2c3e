#include "actions/create.h"

#include <ctime>
#include <string>

#include "actions/kludge_edit.h"
#include "actions/msg_args.h"
#include "bases/dates.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/kludges.h"
#include "message/macros.h"
#include "message/new_head.h"
#include "message/text_edit.h"
#include "message/write.h"

namespace quelmo {
namespace {

constexpr uint16_t zone_not_given = 0xFFFF;

bool need_message(const ScriptCall& call) {
  if (CurMsg.msgno != 0) return true;
  log_line(3, "%s no active message in memory", call.label());
  return false;
}

// A message from nowhere, dated now.
Msg fresh_msg() {
  Msg msg;
  msg.time = std::time(nullptr);
  msg.date = unix_to_fts(msg.time);
  return msg;
}

// The line of log_message_once for a message that isn't the current one: number 0.
void log_new_message(const Msg& msg) {
  uint32_t msgno = CurMsg.msgno;
  Msg hdr = current.hdr;
  CurMsg.msgno = 0;
  current.hdr = msg;
  current.hdr.intattr &= ~static_cast<uint32_t>(int_logged);
  log_message_once();
  CurMsg.msgno = msgno;
  current.hdr = hdr;
}

// Makes `msg` and `list` the message in memory, changed.
void take_over(const Msg& msg, LineList list, const char* what) {
  current.text = std::move(list);
  current.hdr = msg;
  current.hdr.intattr |= int_changed;
  log_line(1, "   %s", what);
  run.msgs_written++;
}

// Body and Via lines of a text as a bounce quotes them: nothing of it counts as tear line, Origin or Via any
// more.
LineList bounce_text(const LineList& text) {
  LineList quoted;
  for (size_t i = 0; i < text.size();) {
    bool keep = !is_kludge(text[i]) || is_via(text[i]);
    for (size_t end = line_end(text, i); i < end; i++) {
      if (keep) quoted.append(text[i]);
    }
  }
  invalidate_tear_origin(quoted);
  invalidate_vias(quoted);
  return quoted;
}

// The arguments of CreateMail as a NewMsgArgs with both addresses.
NewMsgArgs new_mail_args(const ScriptCall& call, std::string_view area_tag, FtnAddr& aka) {
  NewMsgArgs args;
  args.fromname = program_name;
  args.toname = "Sysop";
  args.subject = "Automatically created mail";
  args.attr = attr_local;
  args.to.zone = zone_not_given;
  args.from.zone = zone_not_given;
  std::string to = call.text(1);
  std::vector<std::string> options = option_args(call, 2);
  options.insert(options.begin(), "-t " + to);
  get_new_msgarg(options, call.label(), args);
  match_aka(area_system(area_tag), args.to, aka);
  if (args.to.zone == zone_not_given) stop_run("%s To addr not defined: `%s'\n", call.label(), to.c_str());
  if (args.from.zone == zone_not_given) args.from = aka;
  return args;
}

}  // namespace

void perl_CreateMail(ScriptCall& call) {
  std::string tag(unquote(trim_spaces(call.text(0))));
  expand_config(tag);
  if (tag.empty()) tag = CurMsg.tag;
  AreaType type = area_type(tag);
  std::string shown = upper(tag);
  if (type == area_none) stop_run("%s unknown area `%s'\n", call.label(), shown.c_str());
  FtnAddr aka;
  NewMsgArgs args = new_mail_args(call, tag, aka);
  bool echo = is_echo_area(type, tag) || args.area;
  if (!echo) args.attr |= attr_private;

  Msg msg = apply_msgarg(fresh_msg(), args);
  msg.flavor = msg_flavor(msg.attr, msg.flags);
  msg.routeto = msg.to;
  if (msg.from.domain.empty()) msg.from.domain = aka.domain;
  LineList list = apply_text_args(make_kludges(msg, echo), args, msg.from);
  log_new_message(msg);
  if (!echo) {
    new_route(args, msg);
    add_via(list, aka);
  }
  apply_invalid_flags("CreateMail", msg, list, type == area_text);
  uint32_t n = add_msg(type, tag, msg, list, args.packet_header());
  if (n == 0) {
    log_line(0, "error: CreateMail failed");
    throw Stop();
  }
  if (CurMsg.type == area_fido || CurMsg.type == area_squish || type == area_jam) {
    log_line(1, "   %u created in %s\n", n, shown.c_str());
  }
  log_line(1, "   Mail created in area %s\n", shown.c_str());
  run.msgs_written++;
  call.give(current.lastname);
}

void perl_Bounce(ScriptCall& call) {
  if (!need_message(call)) return;
  bool echo = is_echo_area(CurMsg.type, CurMsg.tag);
  const Msg& old = current.hdr;
  NewMsgArgs args;
  args.fromname = std::string(program_name) + " " + version_string;
  args.toname = old.fromname;
  args.subject = old.subject;
  args.attr = static_cast<uint16_t>(echo ? attr_local : attr_local | attr_private);
  get_new_msgarg(option_args(call, 0), call.label(), args);
  log_message_once();

  FtnAddr aka;
  match_aka(area_system(CurMsg.tag), old.from, aka);
  Msg msg = apply_msgarg(fresh_msg(), args);
  msg.to = old.from;
  msg.routeto = msg.to;
  msg.from = aka;
  msg.flavor = msg_flavor(msg.attr, msg.flags);
  LineList head = make_kludges(msg, echo);
  add_text(head, bounce_text(current.text), at_end, Count::body);
  LineList list = apply_text_args(head, args, msg.from);
  add_via(list, aka);
  if (echo) {
    strip_netmail_kludges(list);
  } else {
    new_route(args, msg);
  }
  apply_invalid_flags("Bounce", msg, list, false);
  take_over(msg, std::move(list), "Bounced");
}

void perl_ChangeMail(ScriptCall& call) {
  if (!need_message(call)) return;
  const Msg old = current.hdr;
  NewMsgArgs args = args_of(old);
  get_new_msgarg(option_args(call, 0), call.label(), args);
  Msg msg = apply_msgarg(old, args);
  LineList list = apply_text_args(current.text, args, msg.from);
  bool echo = is_echo_area(CurMsg.type, CurMsg.tag);
  shape_text(old, args, echo, msg, list, {});
  apply_invalid_flags("ChangeMail", msg, list, false);
  take_over(msg, std::move(list), "Message Changed");
}

}  // namespace quelmo
