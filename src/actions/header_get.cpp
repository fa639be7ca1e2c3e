// The reading half of header.h.
#include <string>
#include <vector>

#include "actions/header.h"
#include "core/log.h"
#include "core/text.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/kludges.h"
#include "message/text_edit.h"

namespace quelmo {
namespace {

// The functions that have a log line of their own for want of a message, and give an empty text then.
bool message_for(const char* name, const char* line_end) {
  if (CurMsg.msgno != 0) return true;
  log_text(3, std::string(name) + ": no active message in memory" + line_end);
  return false;
}

std::string named_address(const FtnAddr& addr, std::string_view name) {
  return addr_to_text(addr) + " " + std::string(name);
}

void give_elements(ScriptCall& call, bool kludges_shown_plain) {
  if (!message_in_memory(call.label())) return;
  std::vector<std::string> lines;
  for (std::string_view element : current.text) {
    std::string line(strip_line_end(element));
    if (kludges_shown_plain && is_kludge(element)) line[0] = '@';
    lines.push_back(std::move(line));
  }
  call.give_list(lines);
}

}  // namespace

void perl_GetText(ScriptCall& call) {
  const LineList& text = current.text;
  std::vector<std::string> lines;
  for (size_t i = 0; i < text.size();) {
    size_t end = line_end(text, i);
    bool keep = !is_kludge(text[i]);
    std::string line;
    for (; i < end; i++) {
      if (keep) line += strip_line_end(text[i]);
    }
    if (keep) lines.push_back(std::move(line));
  }
  call.give_list(lines);
}

void perl_GetKludges(ScriptCall& call) {
  constexpr size_t widest = 1023;
  if (!message_in_memory(call.label())) return;
  const LineList& text = current.text;
  std::vector<std::string> lines;
  for (size_t i = 0; i < text.size();) {
    size_t end = line_end(text, i);
    bool keep = is_kludge(text[i]);
    std::string line;
    for (; i < end; i++) {
      if (keep) line += strip_line_end(text[i]);
    }
    if (keep) lines.push_back(line.substr(line[0] == soh ? 1 : 0, widest));
  }
  call.give_list(lines);
}

void perl_GetVias(ScriptCall& call) {
  constexpr size_t token = 5;  // CTRL-A "Via "
  if (!message_in_memory(call.label())) return;
  std::vector<std::string> lines;
  for (std::string_view via : current.vias) {
    std::string_view shown = strip_line_end(via);
    shown.remove_prefix(std::min(shown.size(), token));
    if (!shown.empty()) lines.emplace_back(shown);
  }
  call.give_list(lines);
}

void perl_GetMsg(ScriptCall& call) {
  give_elements(call, true);
}

void perl_GetRawMsg(ScriptCall& call) {
  give_elements(call, false);
}

void perl_GetHdr(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  const Msg& hdr = current.hdr;
  call.give_list(
      {hdr.fromname.str(), addr_to_text(hdr.from), hdr.toname.str(), addr_to_text(hdr.to), hdr.subject.str(),
       hdr.date.str(),
       attr_to_text(hdr.attr) + " " + flags_to_text(hdr.flags) + " " + intattr_to_text(hdr.intattr)});
}

void perl_GetTo(ScriptCall& call) {
  const Msg& hdr = current.hdr;
  call.give(message_for("getTo", "\n") ? named_address(hdr.to, hdr.toname) : "");
}

void perl_GetFrom(ScriptCall& call) {
  const Msg& hdr = current.hdr;
  call.give(message_for("getFrom", "\n") ? named_address(hdr.from, hdr.fromname) : "");
}

void perl_GetSubject(ScriptCall& call) {
  call.give(message_for("getSubj", "") ? current.hdr.subject.view() : "");
}

void perl_GetTime(ScriptCall& call) {
  call.give(message_for("getTime", "\n") ? current.hdr.date.view() : "");
}

void perl_GetRouting(ScriptCall& call) {
  call.give(message_for("getRouting", "") ? addr_to_text(current.hdr.routeto) : "");
}

void perl_GetAttribute(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  const Msg& hdr = current.hdr;
  call.give(attributes_text(hdr.attr, hdr.flags, hdr.intattr));
}

}  // namespace quelmo
