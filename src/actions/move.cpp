#include "actions/move.h"

#include <string>

#include "actions/msg_args.h"
#include "bases/base_ops.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"
#include "message/macros.h"
#include "message/write.h"

namespace quelmo {
namespace {

// What a copy of the message went to.
struct Copy {
  std::string tag;  // upper case
  AreaType type = area_none;
  uint32_t number = 0;  // of the new message; 0: the copy failed
};

// The procedure that Move and CopyArea share; `name` and `lines` are for its log lines.
Copy put_copy(ScriptCall& call, const char* name, const ShapeLines& lines) {
  const Msg old = current.hdr;
  NewMsgArgs args = args_of(old);
  std::string tag(unquote(trim_spaces(call.text(0))));
  expand_config(tag);
  Copy copy = {.tag = upper(tag), .type = area_type(tag)};
  if (copy.type == area_none) stop_run("%s unknown area `%s'\n", call.label(), copy.tag.c_str());
  bool echo = is_echo_area(copy.type, tag);
  if (echo) {
    args.attr = 0;
    args.flags = 0;
  }
  get_new_msgarg(option_args(call, 1), call.label(), args);
  log_message_once();

  Msg msg = apply_msgarg(old, args);
  LineList list = apply_text_args(current.text, args, msg.from);
  shape_text(old, args, echo, msg, list, lines);
  apply_invalid_flags(name, msg, list, copy.type == area_text);
  copy.number = add_msg(copy.type, tag, msg, list, args.packet_header());
  return copy;
}

}  // namespace

void perl_Move(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  constexpr ShapeLines lines = {.netmail = "move: changing netmail kludges",
                                .echomail = "move: changing echomail kludges\n"};
  Copy copy = put_copy(call, "move", lines);
  bool gone = false;
  if (copy.number != 0) {
    if (CurMsg.type == area_fido || CurMsg.type == area_squish || copy.type == area_jam) {
      log_line(1, "   %u created in %s\n", copy.number, copy.tag.c_str());
    }
    log_line(1, "   Moved to area %s\n", copy.tag.c_str());
    run.msgs_written++;
    gone = kill_msg() == 1;
  }
  if (!gone) {
    log_line(0, "%s move failed\n", call.label());
    if (base_ops(CurMsg.type).rewritten_whole) stop_run("%s move failed\n", call.label());
  }
  forget_message();
  current.sq_errno = 0;
  call.give(current.lastname);
}

void perl_CopyArea(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  constexpr ShapeLines lines = {.netmail = "copyarea: changing netmail kludges",
                                .echomail = "copyarea: changing echomail kludges\n",
                                .flags = "copyarea: adjust FLAGS kludge"};
  Copy copy = put_copy(call, "copyarea", lines);
  if (copy.number != 0) {
    if (base_ops(copy.type).tells_number) {
      log_line(1, "   %u created in %s", copy.number, copy.tag.c_str());
    }
    log_line(1, "   Copied to area %s", copy.tag.c_str());
    run.msgs_written++;
  } else {
    log_line(0, "error: CopyArea failed");
  }
  call.give(current.lastname);
}

void perl_Kill(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  log_message_once();
  if (kill_msg() == 1) {
    log_line(1, "   Killed");
  } else {
    log_line(0, "error: Kill failed");
  }
  forget_message();
  current.sq_errno = 0;
  current.jam_errno = 0;
}

}  // namespace quelmo
