#include "core/log.h"
#include "core/run_state.h"
#include "core/text.h"
#include "message/attributes.h"
#include "message/kludges.h"
#include "select/block_parsers.h"
#include "select/predicate_helpers.h"

namespace quelmo {
namespace {

const Regex no_regex;

bool attr_holds(std::string_view word) {
  return check_all_attr(word, current.hdr.attr, current.hdr.flags, current.hdr.intattr);
}

bool direct_attr(std::string_view words) {
  constexpr int most = 20;
  std::string_view word;
  for (int i = 0; i < most && next_word(words, word); i++) {
    if (!attr_holds(word)) return false;
  }
  return true;
}

bool kludge_word_agrees(const KludgeWord& word, bool relaxed) {
  return kludge_present(word.pattern, word.regex, relaxed) == word.wanted;
}

bool direct_kludge(const SelectQuery& query) {
  std::string_view words = query.data;
  std::string_view word;
  std::string pattern;
  while (next_word(words, word)) {
    bool wanted = !word.starts_with('!');
    if (!wanted) word.remove_prefix(1);
    pattern.assign(1, soh).append(word);
    if (kludge_present(pattern, no_regex, query.relaxed) != wanted) return false;
  }
  return true;
}

bool direct_passname(const SelectQuery& query) {
  std::string_view name = query.data;
  std::string_view password = unquote(take_word(name));
  return (query.relaxed || equal_nocase(password, current.hdr.subject)) &&
         equal_nocase(name, side_name(query));
}

}  // namespace

bool check_all_attr(std::string_view word, uint16_t attr, uint16_t flags, uint32_t intattr) {
  bool wanted = !word.starts_with('!');
  if (!wanted) word.remove_prefix(1);
  if (uint16_t bit = attr_by_name(word); bit != unknown_bit16) return ((attr & bit) != 0) == wanted;
  if (uint16_t bit = flag_by_name(word); bit != unknown_bit16) return ((flags & bit) != 0) == wanted;
  uint32_t bit = intattr_by_name(word);
  if (bit == unknown_bit32) {
    stop_run_logged("check_all_attr error: incorrect attribute : `%s'\n", std::string(word).c_str());
  }
  return ((intattr & bit) != 0) == wanted;
}

bool kludge_present(std::string_view pattern, const Regex& regex, bool relaxed) {
  bool by_regex = config.use_regexp && regex;
  std::string seen_by;
  for (std::string_view line : current.text) {
    if (!is_kludge(line)) continue;
    std::string_view word = kludge_name(line, seen_by);
    if (by_regex ? regex.matches(word) : comp_str(word, pattern, relaxed)) return true;
  }
  return false;
}

bool text_line_present(std::string_view pattern, const Regex& regex, bool relaxed) {
  for (std::string_view element : current.text) {
    std::string_view line = strip_line_end(element);
    if (regex ? regex.matches(line) : comp_str(line, pattern, relaxed)) return true;
  }
  return false;
}

bool select_attr(const SelectQuery& query) {
  if (query.direct) return direct_attr(query.data);
  return any_entry(blocks.attribute, query, "select_attr: no such <Data Attribute>",
                   [&](const AttributeEntry& entry) { return std::ranges::all_of(entry.words, attr_holds); });
}

bool select_echoname(const SelectQuery& query) {
  constexpr size_t width = 19;
  std::optional<std::string_view> found = echo_tag(current.text);
  if (!found) return false;
  std::string_view tag = *found;
  if (query.direct) return comp_str(tag, query.data.substr(0, width), query.relaxed);
  return any_entry(
      blocks.echoname, query, "select_name: no such <Data EchoName>",
      [&](const EchoNameEntry& entry) { return text_fits(tag, entry.text, entry.regex, query.relaxed); });
}

bool select_kludge(const SelectQuery& query) {
  if (query.direct) return direct_kludge(query);
  return any_entry(
      blocks.kludge, query, "select_kludge error: no such <Data Kludge>", [&](const KludgeEntry& entry) {
        return std::ranges::all_of(
            entry.words, [&](const KludgeWord& word) { return kludge_word_agrees(word, query.relaxed); });
      });
}

bool select_name(const SelectQuery& query) {
  const FixedText<36>& name = side_name(query);
  if (query.direct) return comp_str(name, query.data.substr(0, FixedText<36>::limit), query.relaxed);
  bool traced = log_passes(4);
  return any_entry(blocks.name, query, "select_name: no such <Data Name>", [&](const NameEntry& entry) {
    if (traced)
      log_line(4, "select_name: compare `%s' in msg and `%s' in block \n", name.c_str(), entry.text.c_str());
    return text_fits(name, entry.text, entry.regex, query.relaxed);
  });
}

bool select_passname(const SelectQuery& query) {
  if (query.direct) return direct_passname(query);
  return any_entry(blocks.passwordname, query, "select_passname error: no such <Data PasswordName>",
                   [&](const PasswordNameEntry& entry) {
                     return (query.relaxed || equal_nocase(entry.password, current.hdr.subject)) &&
                            equal_nocase(entry.name, side_name(query));
                   });
}

bool select_subject(const SelectQuery& query) {
  const FixedText<72>& subject = current.hdr.subject;
  if (query.direct) return comp_str(subject, query.data.substr(0, subject.limit), query.relaxed);
  bool traced = log_passes(4);
  return any_entry(blocks.subject, query, "select_subject: no such <Data Subject>",
                   [&](const SubjectEntry& entry) {
                     if (traced)
                       log_line(4, "select_subject: compare `%s' in msg and `%s' in block \n",
                                subject.c_str(), entry.text.c_str());
                     return text_fits(subject, entry.text, entry.regex, query.relaxed);
                   });
}

bool select_textstr(const SelectQuery& query) {
  if (query.direct) {
    return text_line_present(query.data.substr(0, LineList::element_limit), no_regex, query.relaxed);
  }
  return any_entry(blocks.textstring, query, "select_textstr error: no such <Data TextString>",
                   [&](const TextStringEntry& entry) {
                     if (entry.regex) return text_line_present({}, entry.regex, false);
                     return with_macros(entry.text, [&](std::string_view text) {
                       return text_line_present(text, no_regex, query.relaxed);
                     });
                   });
}

}  // namespace quelmo
