#include "actions/header.h"

#include <ctime>
#include <string>

#include "bases/base_ops.h"
#include "bases/dates.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/kludges.h"
#include "message/macros.h"
#include "message/text_edit.h"
#include "message/write.h"

namespace quelmo {
namespace {

constexpr std::string_view drop_word = "!Changed";

// Both forms of the argument; true if the message shall be dropped.
bool apply_words(const std::string& argument, const char* label, AttrWords& copies) {
  std::string_view rest = argument;
  std::string_view word;
  if (next_word(rest, word) && abbreviates(word, "@attribute")) {
    log_line(4, "SetAttribute: set attribute directly: `%s'\n", std::string(rest).c_str());
    if (rest.empty()) stop_run("%s syntax: `%s'\n", label, argument.c_str());
    bool drop = false;
    while (next_word(rest, word)) {
      set_attr_word(word, copies);
      drop = drop || equal_nocase(word, drop_word);
    }
    return drop;
  }
  std::string_view tag = trim_spaces(argument);
  bool inverse = !tag.empty() && tag[0] == '!';
  if (inverse) {
    tag = trim_spaces(tag.substr(1));
    log_line(4, "SetAttribute: set inversed block `%s'\n", std::string(tag).c_str());
  }
  const Block<AttributeEntry>* block = find_block(blocks.attribute, tag);
  if (block == nullptr) stop_run("\a%s `block undefined : %s'\n", label, std::string(tag).c_str());
  return set_attr_block(*block, inverse, copies);
}

void apply_invalid_flags() {
  if (current.hdr.has(int_invalidvias)) {
    log_line(4, "SetAttribute: invalidate vias");
    invalidate_vias(current.text);
  }
  if (current.hdr.has(int_invkludges)) {
    log_line(4, "SetAttribute: invalidate kludges");
    invalidate_kludges(current.text, false);
  }
}

}  // namespace

void set_attr_word(std::string_view word, AttrWords& copies) {
  bool set = word.empty() || word[0] != '!';
  std::string_view name = set ? word : word.substr(1);
  auto change = [set](auto& field, auto bit) {
    using Field = std::remove_reference_t<decltype(field)>;
    field = static_cast<Field>(set ? field | bit : field & ~bit);
  };
  if (uint16_t bit = attr_by_name(name); bit != unknown_bit16) {
    change(copies.attr, bit);
  } else if (bit = flag_by_name(name); bit != unknown_bit16) {
    change(copies.flags, bit);
  } else if (uint32_t internal = intattr_by_name(name); internal != unknown_bit32) {
    if (set || internal != int_intl) change(copies.intattr, internal);
  } else {
    stop_run("SetAttribute error: incorrect `%s'\n", std::string(word).c_str());
  }
}

bool set_attr_block(const Block<AttributeEntry>& block, bool inverse, AttrWords& copies) {
  bool drop = false;
  for (const AttributeEntry& entry : block.entries) {
    for (const FixedText<20>& written : entry.words) {
      std::string word = written.str();
      if (inverse && word.starts_with('!')) {
        word.erase(0, 1);
      } else if (inverse) {
        word.insert(0, 1, '!');
      }
      set_attr_word(word, copies);
      drop = drop || equal_nocase(word, drop_word);
    }
  }
  return drop;
}

void perl_SetAttribute(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  std::string argument = expanded_arg(call, 0);
  log_line(4, "SetAttribute: attrs string after all expansions: `%s'\n", argument.c_str());
  Msg& hdr = current.hdr;
  AttrWords copies = {.attr = hdr.attr, .flags = hdr.flags, .intattr = hdr.intattr};
  bool drop = apply_words(argument, call.label(), copies);

  if (copies.flags != hdr.flags) set_flags_kludge(current.text, flags_to_text(copies.flags));
  bool changed_now = copies.attr != hdr.attr || copies.flags != hdr.flags || copies.intattr != hdr.intattr;
  if (changed_now) {
    hdr.attr = copies.attr;
    hdr.flags = copies.flags;
    hdr.intattr = copies.intattr | int_changed;
  }
  if (!hdr.has(int_changed)) return;
  if (drop) {
    if (base_ops(CurMsg.type).rewritten_whole) {
      // Without the change the message stays in its file as it was.
      hdr.intattr &= ~static_cast<uint32_t>(int_changed);
      update_msg();
    }
    forget_message();
    return;
  }
  if (!changed_now) return;
  log_message_once();
  apply_invalid_flags();
  log_line(1, "   Changed Attributes : %s %s %s", attr_to_text(hdr.attr).c_str(),
           flags_to_text(hdr.flags).c_str(), intattr_to_text(hdr.intattr).c_str());
}

void perl_RouteTo(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  std::string argument = expanded_arg(call, 0);
  FtnAddr route;
  if (addr_parse(argument, route) == 0) {
    const Block<AddressEntry>* block = find_block(blocks.address, argument);
    if (block == nullptr) stop_run("%s no such <Data Address> : `%s'\n", call.label(), argument.c_str());
    route = block->entries.front().address;
  }
  Msg& hdr = current.hdr;
  hdr.routeto = route;
  hdr.intattr &= ~static_cast<uint32_t>(int_zaloop);
  if (za_loop(current.vias, route, area_system(CurMsg.tag))) hdr.intattr |= int_zaloop;
  hdr.intattr |= int_changed;
}

void perl_SetMessageTime(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  Msg& hdr = current.hdr;
  if (call.count() == 0) hdr.time = std::time(nullptr);
  hdr.date = unix_to_fts(hdr.time);
  log_message_once();
  log_line(1, "   SetMessageTime: %s\n", hdr.date.c_str());
  hdr.intattr |= int_changed;
}

void perl_InvalideTearOrig(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  invalidate_tear_origin(current.text);
}

void perl_ZapText(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  LineList kept;
  for (size_t i = 0; i < current.text.size();) {
    bool keep = is_kludge(current.text[i]);
    for (size_t end = line_end(current.text, i); i < end; i++) {
      if (keep) kept.append(current.text[i]);
    }
  }
  current.text = std::move(kept);
  current.hdr.intattr |= int_changed;
}

}  // namespace quelmo
