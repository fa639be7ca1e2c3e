#include "message/macros.h"

#include <cstdlib>
#include <iterator>

#include "bases/dates.h"
#include "config/global_vars.h"
#include "core/log.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "platform/clock.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

constexpr size_t config_width = 255;

std::string own_domain(const FtnAddr& addr) {
  FtnAddr aka;
  match_aka(area_system(CurMsg.tag), addr, aka);
  return aka.domain.str();
}

std::string word_of(std::string_view text, int index) {
  std::string_view word;
  for (int i = 0; i <= index; i++) {
    if (!next_word(text, word)) return {};
  }
  return std::string(word);
}

// Values; `h` is `hdr` or `oldhdr`.
std::string value_attributes(const Msg&) {
  const Msg& h = current.hdr;
  return attributes_text(h.attr, h.flags, h.intattr);
}
std::string value_from(const Msg& h) {
  return addr_to_text(h.from);
}
std::string value_fromdomain(const Msg& h) {
  return own_domain(h.from);
}
std::string value_fromname(const Msg& h) {
  return h.fromname.str();
}
std::string value_intlfrom(const Msg& h) {
  return word_of(h.intl, 1);
}
std::string value_intlto(const Msg& h) {
  return word_of(h.intl, 0);
}
std::string value_linecount(const Msg& h) {
  return std::to_string(h.linecount);
}
std::string value_localdate(const Msg&) {
  std::tm now = local_time();
  return format_text("%02d/%02d/%d", now.tm_mon + 1, now.tm_mday, now.tm_year + 1900);
}
std::string value_localtime(const Msg&) {
  std::tm now = local_time();
  return format_text("%02d:%02d:%02d", now.tm_hour, now.tm_min, now.tm_sec);
}
std::string value_msgidfrom(const Msg& h) {
  return h.msgid.str();
}
std::string value_msglength(const Msg&) {
  return std::to_string(message_length());
}
std::string value_oldmsglength(const Msg& h) {
  return std::to_string(h.length);
}
std::string value_program(const Msg&) {
  return std::string(program_name) + " " + version_string;
}
std::string value_replyto(const Msg& h) {
  return h.replyto.str();
}
std::string value_routeto(const Msg& h) {
  return addr_to_text(h.routeto);
}
std::string value_subject(const Msg& h) {
  return h.subject.str();
}
std::string value_system(const Msg& h) {
  std::string_view system = CurMsg.msgno != 0 ? area_system(CurMsg.tag) : std::string_view();
  if (system.empty()) return addr_to_text(config.main_address);
  FtnAddr aka;
  match_aka(system, h.to, aka);
  return addr_to_text(aka);
}
std::string value_systemtime(const Msg&) {
  return via_stamp();
}
std::string value_time(const Msg& h) {
  return h.date.str();
}
std::string value_to(const Msg& h) {
  return addr_to_text(h.to);
}
std::string value_todomain(const Msg& h) {
  return own_domain(h.to);
}
std::string value_toname(const Msg& h) {
  return h.toname.str();
}
std::string value_tz(const Msg&) {
  return format_text("%+d", utc_offset_hours());
}

std::string value_pktfrom(const Msg&) {
  return addr_to_text(CurMsg.pkt.from);
}
std::string value_pktto(const Msg&) {
  return addr_to_text(CurMsg.pkt.to);
}

enum MacroTraits : unsigned {
  needs_message = 0,
  always = 1,          // has a value without a message in memory
  always_in_text = 2,  // the same, but for expand_macro only
  of_old = 4,          // reads the message as it was read
  packet_only = 8,     // a value of packets: none where none has been taken up
};

struct Macro {
  const char* name;
  std::string (*value)(const Msg&);  // null: left to the MACRO blocks
  unsigned traits;
};

constexpr Macro macros[] = {
    {"ATTRIBUTES", value_attributes, needs_message},
    {"FROM", value_from, needs_message},
    {"FROMDOMAIN", value_fromdomain, needs_message},
    {"FROMNAME", value_fromname, needs_message},
    {"INTLFROM", value_intlfrom, needs_message},
    {"INTLTO", value_intlto, needs_message},
    {"LINECOUNT", value_linecount, needs_message},
    {"LOCALDATE", value_localdate, always},
    {"LOCALTIME", value_localtime, always},
    {"MSGIDFROM", value_msgidfrom, needs_message},
    {"MSGLENGTH", value_msglength, needs_message},
    {"NODELIST", nullptr, needs_message},
    {"PROGRAM", value_program, always},
    {"REPLYTO", value_replyto, needs_message},
    {"ROUTETO", value_routeto, needs_message},
    {"SUBJECT", value_subject, needs_message},
    {"SYSOP", nullptr, always_in_text},
    {"SYSTEM", value_system, always},
    {"SYSTEMTIME", value_systemtime, always},
    {"TIME", value_time, needs_message},
    {"TO", value_to, needs_message},
    {"TODOMAIN", value_todomain, needs_message},
    {"TONAME", value_toname, needs_message},
    {"TZ", value_tz, always},
    {"OLDATTRIBUTES", value_attributes, needs_message},
    {"OLDFROM", value_from, of_old},
    {"OLDFROMDOMAIN", value_fromdomain, of_old},
    {"OLDFROMNAME", value_fromname, of_old},
    {"OLDINTLFROM", value_intlfrom, of_old},
    {"OLDINTLTO", value_intlto, of_old},
    {"OLDLINECOUNT", value_linecount, of_old},
    {"OLDMSGIDFROM", value_msgidfrom, of_old},
    {"OLDMSGLENGTH", value_oldmsglength, of_old},
    {"OLDREPLYTO", value_replyto, of_old},
    {"OLDROUTETO", value_routeto, of_old},
    {"OLDSUBJECT", value_subject, of_old},
    {"OLDTIME", value_time, of_old},
    {"OLDTO", value_to, of_old},
    {"OLDTODOMAIN", value_todomain, of_old},
    {"OLDTONAME", value_toname, of_old},
    {"PKTFROM", value_pktfrom, always_in_text | packet_only},
    {"PKTTO", value_pktto, always_in_text | packet_only},
};
static_assert(std::size(macros) == 42);

const Macro* find_macro(std::string_view name) {
  for (const Macro& macro : macros) {
    if (equal_nocase(macro.name, name)) return &macro;
  }
  return nullptr;
}

const MacroEntry* find_macro_entry(std::string_view name) {
  for (const MacroEntry& entry : blocks.macros) {
    if (equal_nocase(entry.name, name)) return &entry;
  }
  return nullptr;
}

// False for a value of packets in a place without packets.
bool has_place(const Macro& macro) {
  if ((macro.traits & packet_only) == 0) return true;
  return CurMsg.type == area_bink || (CurMsg.type == area_pkt && !CurMsg.pkt.name.empty());
}

std::string table_value(const Macro& macro) {
  return macro.value((macro.traits & of_old) != 0 ? current.oldhdr : current.hdr);
}

// What both expanders do with a name that the table leaves to the MACRO blocks, or doesn't know.
int block_value(std::string_view name, std::string& out) {
  const MacroEntry* entry = find_macro_entry(name);
  if (entry == nullptr) {
    log_line(0, "macro not yet implemented: `%s'", std::string(name).c_str());
    return 0;
  }
  out = entry->text;
  return 1;
}

// Appends what fits into the width of a configuration text; false if that wasn't all.
bool append_config(std::string& out, std::string_view text) {
  size_t room = config_width - out.size();
  out += text.substr(0, room);
  return text.size() <= room;
}

// First stage of expand_config: each %%NAME%% once. False if the result didn't fit.
bool expand_double(std::string_view rest, std::string& out) {
  while (!rest.empty()) {
    std::vector<std::string_view> parts = split_at(rest, {"%%", "%%"});
    if (parts.size() < 3) return append_config(out, rest);
    std::string value;
    bool fits = append_config(out, parts[0]);
    if (macro_value(parts[1], value) == 1 || global_var_value(parts[1], value) == 1) {
      fits = fits && append_config(out, value);
    } else {
      std::string name(parts[1]);
      log_line(3, "no such macro: `%s'\n", name.c_str());
      fits = fits && append_config(out, "%%" + name + "%%");
    }
    if (!fits) return false;
    rest = parts[2];
  }
  return true;
}

bool single_value(std::string_view written, std::string& value) {
  if (written.empty()) return false;
  std::string name = upper(written);
  if (const char* env = std::getenv(name.c_str())) {
    value = std::string_view(env).substr(0, config_width);
    return true;
  }
  log_line(3, "no such env: `%s'\n", name.c_str());
  if (macro_value(name, value) == 1 || global_var_value(name, value) == 1) return true;
  log_line(3, "no such macro: `%s'\n", name.c_str());
  return false;
}

// Second stage: %NAME%, values looked at again, at most 256 times in a row at one place. False if the result
// didn't fit.
bool expand_single(std::string rest, const std::string& whole, std::string& out) {
  constexpr int most_at_one_place = 256;
  int count = 0;
  size_t previous = std::string::npos;
  for (;;) {
    std::vector<std::string_view> parts = split_at(rest, {"%", "%"});
    if (parts.size() < 3) return append_config(out, rest);
    count = parts[0].size() == previous ? count + 1 : 0;
    previous = parts[0].size();
    bool exceeded = count > most_at_one_place;
    if (exceeded) {
      count = 0;
      log_line(2, "recursion level exceeded for a macro in `%s'\n", whole.c_str());
    }
    std::string value;
    if (!exceeded && single_value(parts[1], value)) {
      std::string next;
      bool fits =
          append_config(next, parts[0]) && append_config(next, value) && append_config(next, parts[2]);
      rest = std::move(next);
      if (fits) continue;
      append_config(out, rest);
      return false;
    }
    size_t done = parts[0].size() + parts[1].size() + 2;
    if (!append_config(out, std::string_view(rest).substr(0, done))) return false;
    rest.erase(0, done);
    previous = std::string::npos;
  }
}

}  // namespace

int macro_value(std::string_view name, std::string& out) {
  std::string shown(name);
  log_line(4, "macro to expand: `%s'\n", shown.c_str());
  out.clear();
  const Macro* macro = find_macro(name);
  if (macro != nullptr && CurMsg.msgno == 0 && (macro->traits & always) == 0) {
    log_line(4, "expanding macro: no active message in memory\n");
    return 0;
  }
  if (macro != nullptr && macro->value != nullptr) {
    if (has_place(*macro)) out = table_value(*macro).substr(0, config_width);
  } else if (block_value(name, out) == 0) {
    return 0;
  }
  log_line(4, "expanded macro: `%s'\n", shown.c_str());
  return 1;
}

int macro_lookup(std::string& name) {
  const Macro* macro = find_macro(name);
  if (macro != nullptr && CurMsg.msgno == 0 && (macro->traits & (always | always_in_text)) == 0) {
    log_line(4, "expanding macro: no active message in memory");
    return 0;
  }
  if (macro != nullptr && !has_place(*macro)) return 0;
  std::string value;
  if (macro != nullptr && macro->value != nullptr) {
    value = table_value(*macro);
  } else if (block_value(name, value) == 0) {
    return 0;
  }
  name = value;
  return 1;
}

void expand_config(std::string& text) {
  if (text.size() > config_width || text.find('%') == std::string::npos) return;
  std::string first;
  std::string second;
  bool fits = expand_double(text, first);
  std::string& result = fits ? second : first;
  if (fits) fits = expand_single(first, text, second);
  if (!fits) log_line(3, "expanded string for `%s' too long, truncated\n", text.c_str());
  text = std::move(result);
}

void expand_pass(std::string_view delimiter, std::string& text) {
  // A macro whose text names itself several times would grow without end; what passes this stays unexpanded.
  constexpr size_t most_growth = 65536;
  std::string result;
  size_t p = 0;
  while (result.size() <= p + most_growth) {
    size_t a = text.find(delimiter, p);
    if (a == std::string::npos) break;
    size_t name_at = a + delimiter.size();
    size_t b = text.find(delimiter, name_at);
    if (b == std::string::npos) break;
    result.append(text, p, a - p);
    std::string name = text.substr(name_at, b - name_at);
    p = b + delimiter.size();
    const char* env = delimiter == "%" ? std::getenv(name.c_str()) : nullptr;
    std::string value = name;
    if (env != nullptr) {
      result += env;
    } else if (macro_lookup(value) == 1 || global_var_value(name, value) == 1) {
      result += value;
    } else {
      result.append(text, a, p - a);
    }
  }
  result.append(text, p);
  text = std::move(result);
}

void expand_macro(std::string& text) {
  constexpr int nesting = 11;
  if (text.find('%') == std::string::npos) return;
  for (int pass = 0; pass < nesting; pass++) expand_pass("%", text);
  expand_pass("%%", text);
}

std::string expanded_arg(const ScriptCall& call, int i) {
  std::string text(trim_spaces(call.text(i)));
  expand_config(text);
  return text;
}

}  // namespace quelmo
