#include "core/stop.h"
#include "core/text.h"
#include "message/kludges.h"
#include "select/block_handlers.h"
#include "select/block_parsers.h"

namespace quelmo {
namespace {

template <size_t N>
void handle_text(DataTypeId type, BlockList<TextEntry<N>>& list, std::string_view tag, std::string_view line,
                 const std::string& prefix) {
  FixedText<20> stored = open_block(type, tag, prefix);
  std::string_view text = unquote(line);
  add_entry(list, stored, {.text = text, .regex = compile_pattern(text, prefix)});
}

}  // namespace

void handle_attribute(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_attribute, tag, prefix);
  AttributeEntry entry;
  std::string_view word;
  while (next_word(line, word)) {
    entry.words.emplace_back(std::string_view(upper(word)));
    check_attr_name(entry.words.back(), prefix);
  }
  add_entry(blocks.attribute, stored, std::move(entry));
}

void handle_echoname(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_text(type_echoname, blocks.echoname, tag, line, prefix);
}

void handle_kludge(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_kludge, tag, prefix);
  KludgeEntry entry;
  std::string_view word;
  while (next_word(line, word)) {
    bool wanted = !word.starts_with('!');
    if (!wanted) word.remove_prefix(1);
    std::string pattern = soh + std::string(word);
    entry.words.push_back(
        {.pattern = std::string_view(pattern), .wanted = wanted, .regex = compile_pattern(pattern, prefix)});
  }
  add_entry(blocks.kludge, stored, std::move(entry));
}

void handle_macro(std::string_view, std::string_view line, const std::string& prefix) {
  if (line.empty()) return;
  std::string_view text = line;
  FixedText<20> name = take_word(text);
  if (text.empty()) {
    stop_run_logged("%s error in line `%s'\n", prefix.c_str(), std::string(line).c_str());
  }
  for (MacroEntry& macro : blocks.macros) {
    if (!equal_nocase(macro.name, name)) continue;
    macro.text = text;
    return;
  }
  blocks.macros.push_back({.name = name, .text = text});
}

void handle_name(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_text(type_name, blocks.name, tag, line, prefix);
}

void handle_subject(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_text(type_subject, blocks.subject, tag, line, prefix);
}

void handle_textstring(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_text(type_textstring, blocks.textstring, tag, line, prefix);
}

}  // namespace quelmo
