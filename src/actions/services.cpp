#include "actions/services.h"

#include <regex.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bases/base_ops.h"
#include "config/areas.h"
#include "config/global_vars.h"
#include "core/crc32.h"
#include "core/log.h"
#include "core/recoding.h"
#include "core/regex.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"
#include "message/kludges.h"
#include "message/macros.h"

namespace quelmo {
namespace {

std::string plain_arg(const ScriptCall& call, int i) {
  return std::string(unquote(expanded_arg(call, i)));
}

// The formats of a failed pack, by the kind of area and by whether it was asked for by its tag.
void log_failed_pack(const Area& area, const char* label, bool by_tag) {
  if (area.type == area_squish) {
    log_line(0, "%s error: pack failed for squish area `%s', errno %d'\n", label, area.tag.c_str(),
             current.sq_errno);
  } else if (by_tag) {
    log_line(0, "%s error: pack failed for JAM area `%s', errno %d'\n", label, area.tag.c_str(),
             current.jam_errno);
  } else {
    log_line(0, "%s error: pack failed for JAM area `%s', errno: %d\n", label, area.tag.c_str(),
             current.jam_errno);
  }
}

void pack_area(const Area& area, const char* label, bool by_tag) {
  auto pack = base_ops(area.type).pack;
  if (pack != nullptr && pack(area) == 0) log_failed_pack(area, label, by_tag);
}

// Two tags may name one base: under a scan none of them may be packed.
bool is_current(const Area& area) {
  return !CurMsg.tag.empty() && CurMsg.type == area.type && equal_nocase(CurMsg.path, area.path);
}

template <size_t N>
void recode_field(const RecodeTable& table, FixedText<N>& field) {
  std::string bytes = field.str();
  recode(table, bytes);
  field = bytes;
}

// Whole lines: what follows in a long kludge is no text either.
void recode_text(const RecodeTable& table, LineList& text) {
  bool in_kludge = false;
  bool at_start = true;
  for (size_t i = 0; i < text.size(); i++) {
    if (at_start) in_kludge = is_kludge(text[i]);
    at_start = ends_line(text[i]);
    if (in_kludge) continue;
    std::string bytes(text[i]);
    recode(table, bytes);
    text.set(i, bytes);
  }
}

void recode_message(ScriptCall& call, const RecodeTable& table, const std::string& file) {
  if (!message_in_memory(call.label()) || file.empty()) return;
  recode_field(table, current.hdr.fromname);
  recode_field(table, current.hdr.toname);
  recode_field(table, current.hdr.subject);
  recode_text(table, current.text);
}

}  // namespace

void perl_Log(ScriptCall& call) {
  log_text(to_int(call.text(0)), call.text(1));
  call.give_nothing();
}

void perl_SetGlobalVar(ScriptCall& call) {
  set_global_var(call.text(0), call.text(1));
}

void perl_UnSetGlobalVar(ScriptCall& call) {
  unset_global_var(call.text(0));
}

void perl_GetGlobalVar(ScriptCall& call) {
  if (const std::string* value = global_var(call.text(0))) call.give(*value);
}

void perl_GetCRC(ScriptCall& call) {
  call.give_number(0);
  if (CurMsg.msgno == 0) {
    log_line(3, "getCRC: no active message in memory");
    return;
  }
  uint32_t crc = 0;
  if (CurMsg.type == area_fido) {
    crc = crc32_file(CurMsg.path.str() + CurMsg.fido.current_name());
  } else {
    for (std::string_view element : current.text) crc = crc32_update(crc, element);
  }
  call.give_number(static_cast<int32_t>(crc));
}

void perl_ExpandMacro(ScriptCall& call) {
  std::string text(trim_spaces(call.text(0)));
  expand_macro(text);
  macro_lookup(text);
  call.give(text);
}

void perl_rxSearch(ScriptCall& call) {
  std::string text = plain_arg(call, 0);
  std::string pattern = plain_arg(call, 1);
  int flags = config.rx_cflags;
  if (pattern.starts_with('~')) {
    pattern.erase(0, 1);
    flags = REG_ICASE;
  }
  Regex regex;
  std::string error;
  if (!regex.compile(pattern, flags, error)) {
    stop_run("\a%s regular expression syntax : `%s' (%s)", call.label(), pattern.c_str(), error.c_str());
  }
  call.give_number(regex.matches(text) ? 1 : 0);
}

void perl_GetEchoName(ScriptCall& call) {
  if (std::optional<std::string_view> tag = echo_tag(current.text)) call.give(*tag);
}

void perl_GetAreaList(ScriptCall& call) {
  std::vector<std::string> tags;
  for (AreaType type : {area_fido, area_bink, area_pkt, area_squish, area_jam}) {
    for (const Area& area : areas.of_type[type]) tags.push_back(area.tag.str());
  }
  std::reverse(tags.begin(), tags.end());
  call.give_list(tags);
}

void perl_Renumber(ScriptCall& call) {
  if (call.count() == 0) {
    for (AreaType type : {area_fido, area_squish, area_jam}) {
      for (const Area& area : areas.of_type[type]) {
        if (!is_current(area)) pack_area(area, call.label(), false);
      }
    }
    return;
  }
  std::string tag = expanded_arg(call, 0);
  const Area* area = find_area(tag);
  if (area == nullptr) stop_run("%s unknown area `%s'\n", call.label(), tag.c_str());
  if (is_current(*area)) {
    log_line(1, "%s Can't pack open area `%s'\n", call.label(), tag.c_str());
  } else {
    pack_area(*area, call.label(), true);
  }
}

void perl_IgnoreBsy(ScriptCall& call) {
  std::string word = expanded_arg(call, 0);
  bool on = equal_nocase(word, "ON");
  if (!on && !equal_nocase(word, "OFF"))
    stop_run("%s syntax: `%s' (On/Off required)\n", call.label(), word.c_str());
  config.ignore_bsy = on;
  log_line(3, "%s - %s", call.label(), word.c_str());
}

void perl_RecodeIn(ScriptCall& call) {
  recode_message(call, recoding.in_table, config.intab_file);
}

void perl_RecodeOut(ScriptCall& call) {
  recode_message(call, recoding.out_table, config.outtab_file);
}

}  // namespace quelmo
