#include "actions/change_address.h"

#include <string>

#include "actions/kludge_edit.h"
#include "actions/msg_args.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/macros.h"
#include "select/compare.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

struct AddressSpec {
  bool inverse = false;     // "!"
  bool keep_point = false;  // "~"
  bool direct = false;      // "@"
  std::string_view data;
};

AddressSpec parse_spec(std::string_view text, const char* label) {
  AddressSpec spec;
  std::string_view rest = trim_spaces(text);
  for (;;) {
    bool* flag = rest.starts_with('!')   ? &spec.inverse
                 : rest.starts_with('~') ? &spec.keep_point
                 : rest.starts_with('@') ? &spec.direct
                                         : nullptr;
    if (flag == nullptr) break;
    if (*flag) stop_run("%s syntax: `%s'\n", label, std::string(text).c_str());
    *flag = true;
    rest = trim_spaces(rest.substr(1));
  }
  if (rest.empty()) stop_run("%s empty data argument: `%s'\n", label, std::string(text).c_str());
  spec.data = rest;
  return spec;
}

void apply(const AddressSpec& spec, FtnAddr fresh, FtnAddr& addr) {
  if (spec.keep_point) fresh.point = wild_any;
  apply_address(fresh, addr);
}

// Applies the pair if the address matches its pattern, or with "!" if it doesn't; true if it was applied.
bool apply_pair(const AddressSpec& spec, const FtnAddr& from, const FtnAddr& to, FtnAddr& addr) {
  if ((comp_aadrs(addr, from) == 1) == spec.inverse) return false;
  apply(spec, to, addr);
  return true;
}

void apply_direct(const AddressSpec& spec, std::string_view text, FtnAddr& addr, const char* label) {
  std::string whole(text);
  std::string_view rest = spec.data;
  std::string_view type;
  std::string_view word;
  next_word(rest, type);
  FtnAddr first;
  if (equal_nocase(type, "ADDRESS")) {
    if (addr_parse_wild(trim_spaces(rest), first) == 0) {
      stop_run("%s incorrect address: `%s' in `%s'\n", label, std::string(rest).c_str(), whole.c_str());
    }
    apply(spec, first, addr);
  } else if (equal_nocase(type, "READDRESSLIST")) {
    FtnAddr second;
    if (!next_word(rest, word) || addr_parse_wild(word, first) == 0 || !next_word(rest, word) ||
        addr_parse_wild(word, second) == 0) {
      stop_run("%s readdress syntax error: `%s'\n", label, whole.c_str());
    }
    apply_pair(spec, first, second, addr);
  } else {
    stop_run("%s incorrect data type: `%s' in `%s'\n", label, std::string(type).c_str(), whole.c_str());
  }
}

void apply_block(const AddressSpec& spec, FtnAddr& addr, const char* label) {
  constexpr size_t tag_width = 19;
  std::string_view tag = trim_spaces(spec.data.substr(0, tag_width));
  if (const Block<AddressEntry>* block = find_block(blocks.address, tag)) {
    apply(spec, block->entries.front().address, addr);
    return;
  }
  const Block<ReaddressEntry>* block = find_block(blocks.readdresslist, tag);
  if (block == nullptr) stop_run("%s data block not defined: `%s' \n", label, std::string(tag).c_str());
  for (const ReaddressEntry& entry : block->entries) {
    if (apply_pair(spec, entry.from, entry.to, addr)) return;
  }
}

}  // namespace

void change_address(std::string_view text, FtnAddr& addr, const char* label) {
  AddressSpec spec = parse_spec(text, label);
  if (spec.direct) {
    apply_direct(spec, text, addr, label);
  } else {
    apply_block(spec, addr, label);
  }
}

void perl_ChangeFrom(ScriptCall& call) {
  Msg& hdr = current.hdr;
  change_address(expanded_arg(call, 0), hdr.from, call.label());
  if (is_echo_area(CurMsg.type, CurMsg.tag)) {
    log_line(4, "ChangeTo: changing echomail address kludges");
    change_echomail_kludges(hdr, current.text);
  } else {
    log_line(4, "ChangeTo: changing netmail address kludges");
    change_netmail_kludges(hdr, current.text);
  }
  hdr.intattr |= int_changed;
}

void perl_ChangeTo(ScriptCall& call) {
  Msg& hdr = current.hdr;
  change_address(expanded_arg(call, 0), hdr.to, call.label());
  if (!is_echo_area(CurMsg.type, CurMsg.tag)) change_netmail_kludges(hdr, current.text);
  hdr.intattr |= int_changed;
}

}  // namespace quelmo
