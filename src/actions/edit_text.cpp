#include "actions/edit_text.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "actions/templates.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/kludges.h"
#include "message/macros.h"
#include "message/new_head.h"
#include "message/text_edit.h"
#include "platform/files.h"
#include "platform/path.h"
#include "select/compare.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

void mark_changed() {
  current.hdr.intattr |= int_changed;
}

struct Prefixes {
  bool relaxed = false;  // ~
  bool direct = false;   // @
  bool all = false;      // +
};

// Takes the characters that are among `letters` off the start of `text`.
Prefixes take_prefixes(std::string_view& text, std::string_view letters) {
  Prefixes found;
  for (; !text.empty() && letters.find(text[0]) != std::string_view::npos; text.remove_prefix(1)) {
    found.relaxed |= text[0] == '~';
    found.direct |= text[0] == '@';
    found.all |= text[0] == '+';
  }
  return found;
}

const Block<TextStringEntry>& textstring_block(std::string_view tag, const char* label, const char* step) {
  const Block<TextStringEntry>* block = find_block(blocks.textstring, tag);
  if (block == nullptr)
    stop_run("%s %sno such <Data TextString> : `%s'\n", label, step, std::string(tag).c_str());
  return *block;
}

bool entry_fits(const TextStringEntry& entry, std::string_view line, bool relaxed) {
  return entry.regex ? entry.regex.matches(line) : comp_str(line, entry.text, relaxed);
}

// Removes the first line that fits, or all of them; 1 if there was one.
template <class Fits>
int delete_lines(Fits fits, bool all) {
  LineList kept;
  LineList& text = current.text;
  bool found = false;
  for (size_t i = 0; i < text.size();) {
    size_t end = line_end(text, i);
    if ((all || !found) && fits(strip_line_end(text[i]))) {
      found = true;
    } else {
      for (size_t piece = i; piece < end; piece++) kept.append(text[piece]);
    }
    i = end;
  }
  if (!found) return 0;
  text = std::move(kept);
  mark_changed();
  return 1;
}

int delete_by_number(std::string_view number) {
  int n = to_int(number);
  mark_changed();
  return delete_line(current.text, n == 0 ? 1 : n, Count::body);
}

int delete_by_text(std::string_view what, const char* label) {
  std::string_view pattern = what;
  Prefixes prefixes = take_prefixes(pattern, "~@+ \t");
  pattern = unquote(pattern);
  if (pattern.empty()) stop_run("%s string to kill empty: `%s'\n", label, std::string(what).c_str());
  if (prefixes.direct) {
    return delete_lines([&](std::string_view line) { return comp_str(line, pattern, prefixes.relaxed); },
                        prefixes.all);
  }
  const Block<TextStringEntry>& block = textstring_block(pattern, label, "");
  return delete_lines(
      [&](std::string_view line) {
        return std::ranges::any_of(block.entries, [&](const TextStringEntry& entry) {
          return entry_fits(entry, line, prefixes.relaxed);
        });
      },
      prefixes.all);
}

// The body line at which AddLine and AddHeader insert.
int line_argument(const ScriptCall& call) {
  if (call.count() < 2) return 1;
  std::string number = call.text(1);
  if (!is_number(number)) stop_run("\a%s incorrect lineNo: `%s'\n", call.label(), number.c_str());
  return to_int(number);
}

// The template's file, the last name tried in `name` if there is none.
bool find_template(std::string& name) {
  if (file_part(name).find('.') == std::string_view::npos) name += ".tpl";
  std::string in_templates = config.template_path.str() + name;
  std::optional<std::string> at_home = home_path(in_templates);
  for (const std::string& path : {at_home.value_or(std::string()), in_templates}) {
    if (path.empty() || !file_exists(path)) continue;
    name = path;
    return true;
  }
  return file_exists(name);
}

// What KillKludge looks for.
struct KludgeChoice {
  bool inverse = false;
  bool relaxed = false;
  bool by_regex = false;
  std::vector<KludgeWord> words;

  bool fits(std::string_view name) const {
    return std::ranges::any_of(words, [&](const KludgeWord& word) {
      if (by_regex) return word.wanted && word.regex.matches(name);
      return comp_str(name, word.pattern, relaxed);
    });
  }
};

void direct_kludges(std::string_view rest, const std::string& argument, const char* label,
                    KludgeChoice& choice) {
  log_line(4, "kill_kludge: direct kludge: `%s'\n", std::string(rest).c_str());
  std::string_view word;
  next_word(rest, word);
  if (rest.empty()) stop_run("%s syntax: `%s'\n", label, argument.c_str());
  while (next_word(rest, word)) {
    if (word[0] == '!') continue;
    KludgeWord& kludge = choice.words.emplace_back();
    kludge.pattern = std::string(1, soh).append(word);
  }
}

void block_kludges(std::string_view rest, const char* label, KludgeChoice& choice) {
  std::string_view tag;
  next_word(rest, tag);
  const Block<KludgeEntry>* block = find_block(blocks.kludge, tag);
  if (block == nullptr)
    stop_run("%s kill_kludge error:  no such <Data Kludge> : `%s'\n", label, std::string(tag).c_str());
  for (const KludgeEntry& entry : block->entries)
    choice.words.insert(choice.words.end(), entry.words.begin(), entry.words.end());
  choice.by_regex = !choice.words.empty() && choice.words.front().regex;
}

KludgeChoice kludge_choice(const std::string& argument, const char* label) {
  KludgeChoice choice;
  std::string_view rest = argument;
  bool direct = false;
  for (; !rest.empty(); rest = trim_spaces(rest.substr(1))) {
    bool* prefix = nullptr;
    if (rest[0] == '!') prefix = &choice.inverse;
    if (rest[0] == '~') prefix = &choice.relaxed;
    if (rest[0] == '@') prefix = &direct;
    if (prefix == nullptr) break;
    if (*prefix) stop_run("%s syntax: `%s'\n", label, argument.c_str());
    *prefix = true;
  }
  if (direct) {
    direct_kludges(rest, argument, label, choice);
  } else {
    block_kludges(rest, label, choice);
  }
  return choice;
}

// Removes the kludges for which `goes` holds, given their names.
template <class Goes>
void kill_kludges(Goes goes) {
  LineList kept;
  std::string made;
  for (std::string_view line : current.text) {
    if (is_kludge(line) && goes(kludge_name(line, made))) {
      log_line(4, "kill_kludge: kill this kludge: `%s'\n", std::string(strip_line_end(line)).c_str());
    } else {
      kept.append(line);
    }
  }
  if (kept.size() == current.text.size()) return;
  current.text = std::move(kept);
  mark_changed();
}

// Puts `with` in the place of what `find` finds in the elements of the text: in the first that holds it, or
// with `all` wherever it is. `find` is given the rest of an element and tells the part of it to replace. A
// line that outgrows an element goes on in the next.
template <class Find>
int substitute(Find find, std::string_view with, bool all, bool logged) {
  LineList changed;
  bool found = false;
  for (std::string_view element : current.text) {
    std::string_view rest = strip_line_end(element);
    std::string_view end = element.substr(rest.size());
    std::string fresh;
    bool here = false;
    while (!rest.empty() && (all || !found)) {
      std::optional<std::string_view> part = find(rest);
      if (!part) break;
      here = found = true;
      auto at = static_cast<size_t>(part->data() - rest.data());
      fresh.append(rest.substr(0, at)).append(with);
      rest.remove_prefix(at + part->size());
      // An empty part stands ahead of each byte once.
      if (part->empty() && !rest.empty()) {
        fresh += rest[0];
        rest.remove_prefix(1);
      }
    }
    if (!here) {
      changed.append(element);
      continue;
    }
    fresh.append(rest);
    if (logged) log_line(4, "SubstText, new string:`%s'\n", fresh.c_str());
    changed.append_split(fresh.append(end));
  }
  if (!found) return 0;
  current.text = std::move(changed);
  return 1;
}

int subst_string(std::string_view pattern, std::string_view with, bool relaxed, bool all) {
  if (pattern.empty()) return 0;
  auto find = [&](std::string_view rest) -> std::optional<std::string_view> {
    if (!comp_str(rest, pattern, relaxed)) return std::nullopt;
    if (log_passes(4)) {
      log_line(4, "SubstText, `%s' found in `%s'\n", std::string(pattern).c_str(), std::string(rest).c_str());
    }
    size_t at = rest.find(pattern);
    if (at == std::string_view::npos) return std::nullopt;
    return rest.substr(at, pattern.size());
  };
  return substitute(find, with, all, true);
}

int subst_regex(const Regex& regex, std::string_view with, bool all) {
  return substitute([&](std::string_view rest) { return regex.find(rest); }, with, all, false);
}

// The entries of the block in pairs: a pattern, and what takes its place (nothing behind the last one).
int subst_block(const Block<TextStringEntry>& block, bool relaxed, bool all) {
  int result = 0;
  for (size_t i = 0; i < block.entries.size(); i += 2) {
    const TextStringEntry& entry = block.entries[i];
    std::string_view with;
    if (i + 1 < block.entries.size()) with = block.entries[i + 1].text;
    result |=
        entry.regex ? subst_regex(entry.regex, with, all) : subst_string(entry.text, with, relaxed, all);
  }
  return result;
}

}  // namespace

void perl_DeleteLine(ScriptCall& call) {
  call.give_number(0);
  if (!message_in_memory(call.label(), 2)) return;
  constexpr size_t number_width = 5;
  std::string argument = expanded_arg(call, 0);
  std::string_view rest = argument;
  bool by_number = rest.starts_with("-n");
  bool by_text = rest.starts_with("-s");
  if (by_number || by_text) rest = trim_spaces(rest.substr(2));
  if (by_number) rest = rest.substr(0, number_width);
  if ((by_number && !is_number(rest)) || (by_text && rest.empty()))
    stop_run("%s syntax : `%s'\n", call.label(), argument.c_str());
  by_number = by_number || (!by_text && is_number(rest));
  call.give_number(by_number ? delete_by_number(rest) : delete_by_text(rest, call.label()));
}

void perl_AddLine(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  int line = line_argument(call);
  std::string text = call.text(0);
  LineList lines;
  if (text.ends_with('.')) {
    lines = array_lines(text);
  } else {
    text_to_lines(lines, text);
  }
  add_text(current.text, lines, line, Count::body);
  mark_changed();
}

void perl_AddHeader(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  std::string name = call.text(0);
  expand_config(name);
  int line = line_argument(call);
  if (!find_template(name)) {
    log_line(0, "template file not found: `%s'\n", name.c_str());
    return;
  }
  add_text(current.text, read_tpl(name), line == 0 ? 1 : line, Count::body);
  mark_changed();
}

void perl_AddIntl(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  const Msg& hdr = current.hdr;
  if (hdr.has(int_intl)) {
    log_line(3, "%s INTL already present (the attr set)\n", call.label());
    return;
  }
  for (std::string_view element : current.text) {
    if (!element.starts_with(soh) || !starts_nocase(element.substr(1), "INTL")) continue;
    log_line(3, "%s error: INTL already present but the attribute NOT set ???\n", call.label());
    return;
  }
  add_text(current.text, intl_kludge(hdr), 1, Count::all);
  log_message_once();
  log_line(1, "   INTL added");
}

void perl_KillKludge(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  if (call.count() == 0) return kill_kludges([](std::string_view) { return true; });
  KludgeChoice choice = kludge_choice(expanded_arg(call, 0), call.label());
  kill_kludges([&](std::string_view name) { return choice.fits(name) != choice.inverse; });
}

void perl_SubstText(ScriptCall& call) {
  call.give_number(0);
  if (!message_in_memory(call.label())) return;
  std::string argument = expanded_arg(call, 0);
  std::string_view what = argument;
  Prefixes prefixes = take_prefixes(what, "~+");
  int result = 0;
  if (call.count() > 1) {
    std::string with = call.text(1);
    expand_config(with);
    result =
        subst_string(unquote(trim_spaces(what)), unquote(trim_spaces(with)), prefixes.relaxed, prefixes.all);
  } else {
    result = subst_block(textstring_block(what, call.label(), "select, "), prefixes.relaxed, prefixes.all);
  }
  if (result != 0) mark_changed();
  call.give_number(result);
}

}  // namespace quelmo
