#include "select/select.h"

#include <array>

#include "config/tags.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"
#include "message/macros.h"
#include "select/block_parsers.h"
#include "select/data_types.h"

namespace quelmo {
namespace {

// What a select of a data type does. A type without a predicate can't be selected: its tag counts as unknown.
struct Rule {
  bool (*predicate)(const SelectQuery& query) = nullptr;
  bool direct = false;  // takes direct data
  bool needs_message = true;
};

// Kinds of block that can be defined but say nothing about a message.
bool select_nothing(const SelectQuery&) {
  return false;
}

constexpr std::array<Rule, data_type_count> make_rules() {
  constexpr bool direct = true;
  constexpr bool block_only = false;
  constexpr bool without_message = false;
  std::array<Rule, data_type_count> rules;
  rules[type_address] = {select_address, direct};
  rules[type_addressname] = {select_addrname, direct};
  rules[type_addresspacker] = {select_nothing, block_only};
  rules[type_attribute] = {select_attr, direct};
  rules[type_date] = {select_date, direct, without_message};
  rules[type_dayofweek] = {select_dow, direct, without_message};
  rules[type_echoname] = {select_echoname, direct};
  rules[type_fileage] = {select_fage, direct, without_message};
  rules[type_files] = {select_files, direct, without_message};
  rules[type_kludge] = {select_kludge, direct};
  rules[type_lengthaddress] = {select_nothing, block_only};
  rules[type_messageage] = {select_msgage, direct};
  rules[type_messagelength] = {select_msglen, direct};
  rules[type_name] = {select_name, direct};
  rules[type_nodelist] = {select_nodelist, block_only};
  rules[type_passwordaddress] = {select_passaddr, direct};
  rules[type_passwordname] = {select_passname, direct};
  rules[type_path] = {select_nothing, block_only};
  rules[type_processage] = {select_prage, direct};
  rules[type_readdresslist] = {select_readdresslist, block_only};
  rules[type_routing] = {select_routing, block_only};
  rules[type_subject] = {select_subject, direct};
  rules[type_system] = {select_system, block_only};
  rules[type_textstring] = {select_textstr, direct};
  rules[type_version9] = {select_v9, block_only};
  return rules;
}

constexpr std::array<Rule, data_type_count> rules = make_rules();
constexpr Rule unknown;

// Only a test that can be given its data directly can do without a message.
constexpr bool rules_sound() {
  for (const Rule& rule : rules) {
    if (!rule.needs_message && !rule.direct) return false;
  }
  return true;
}
static_assert(rules_sound());

const Rule& rule_of(int type) {
  return type < 0 ? unknown : rules[static_cast<size_t>(type)];
}

void trace(int level, const char* format, std::string_view text) {
  if (log_passes(level)) log_line(level, format, std::string(text).c_str());
}

// The text of a select string without blanks around it, its macros expanded; `room` holds it if there were
// any. It is expanded twice, so that a macro may stand for another one.
std::string_view expanded_text(std::string_view passed, std::string& room) {
  trace(5, "select: initial string to select:`%s'\n", passed);
  std::string_view text = trim_spaces(passed);
  if (text.find('%') != std::string_view::npos) {
    room = text;
    expand_config(room);
    expand_config(room);
    text = room;
  }
  trace(5, "select: string to select after expanding:`%s'\n", text);
  text = trim_spaces(text);
  trace(5, "select: string to select after stripping blanks:`%s'\n", text);
  return text;
}

struct Prefixes {
  bool negative = false;
  bool relaxed = false;
  bool direct = false;
};

// Takes the prefixes and the blanks behind them off `text`; false if one stands twice.
bool take_prefixes(std::string_view& text, Prefixes& prefixes) {
  for (; !text.empty(); text.remove_prefix(1)) {
    if (is_blank(text.front())) continue;
    bool* seen = nullptr;
    if (text.front() == '!') seen = &prefixes.negative;
    if (text.front() == '~') seen = &prefixes.relaxed;
    if (text.front() == '@') seen = &prefixes.direct;
    if (seen == nullptr) break;
    if (*seen) return false;
    *seen = true;
  }
  return true;
}

void trace_prefixes(const Prefixes& prefixes, std::string_view text) {
  if (prefixes.negative) trace(4, "select: do negative comparing for string:`%s'\n", text);
  if (prefixes.relaxed) trace(4, "select: do relaxed comparing for string:`%s'\n", text);
  if (prefixes.direct) {
    trace(4, "select: do direct comparing for string:`%s'\n", text);
  } else {
    trace(4, "select: do block comparing for string:`%s'\n", text);
  }
}

[[noreturn]] void stop_argument_missing(const char* label, std::string_view passed) {
  stop_run("%s argument missing: `%s'\n", label, std::string(passed).c_str());
}

// Takes the data type word off `data`; the result is its id.
int take_direct_type(std::string_view& data, const char* label, std::string_view passed) {
  std::string token(take_word(data));
  if (data.empty()) stop_argument_missing(label, passed);
  if (log_passes(4)) {
    log_line(4, "select: direct comparing with token:`%s' and data:`%s'\n", token.c_str(),
             std::string(data).c_str());
  }
  data = unquote(data);
  trace(5, "select: string to select after removing quotes:`%s'\n", data);
  int type = data_type_id(token);
  if (type < 0) {
    stop_run("%s incorrect data type `%s' in string: `%s'\n", label, token.c_str(),
             std::string(passed).c_str());
  }
  if (!rule_of(type).direct) {
    stop_run("%s no direct data select possible with this token:`%s'\n", label, token.c_str());
  }
  return type;
}

}  // namespace

bool do_select(std::string_view text, const char* label, Side side) {
  std::string room;
  std::string_view data = expanded_text(text, room);
  Prefixes prefixes;
  if (!take_prefixes(data, prefixes)) {
    stop_run("%s syntax: `%s'\n", label, std::string(text).c_str());
  }
  if (data.empty()) stop_argument_missing(label, text);
  trace_prefixes(prefixes, data);
  int type = prefixes.direct ? take_direct_type(data, label, text) : tag_type(data);
  const Rule& rule = rule_of(type);
  if (rule.needs_message && CurMsg.msgno == 0) {
    log_line(3, "select: no active message in memory\n");
    return false;
  }
  if (rule.predicate == nullptr) {
    stop_run("%s block undefined : `%s'\n", label, std::string(data).c_str());
  }
  bool fits =
      rule.predicate({.data = data, .side = side, .direct = prefixes.direct, .relaxed = prefixes.relaxed});
  bool rc = fits != prefixes.negative;
  log_line(4, "select: rc = %d\n", rc ? 1 : 0);
  return rc;
}

void perl_Select(ScriptCall& call) {
  std::string text = call.text(0);
  bool fits = do_select(text, call.label(), Side::from) || do_select(text, call.label(), Side::to);
  call.give_number(fits ? 1 : 0);
}

void perl_SelectFrom(ScriptCall& call) {
  call.give_number(do_select(call.text(0), call.label(), Side::from) ? 1 : 0);
}

void perl_SelectTo(ScriptCall& call) {
  call.give_number(do_select(call.text(0), call.label(), Side::to) ? 1 : 0);
}

}  // namespace quelmo
