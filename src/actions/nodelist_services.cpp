#include "actions/nodelist_services.h"

#include <algorithm>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/macros.h"
#include "nodelist/lookup.h"
#include "nodelist/templates.h"

namespace quelmo {
namespace {

FtnAddr address_arg(const ScriptCall& call, int i) {
  std::string text = expanded_arg(call, i);
  FtnAddr addr;
  if (addr_parse(text, addr) == 0) stop_run("%s incorrect address : `%s'\n", call.label(), text.c_str());
  return addr;
}

// The fields of a node line, at most `most`, of which the last takes the rest of the line. Empty fields are
// passed over, so that a plain node's number is its first.
std::vector<std::string> split_record(std::string_view line, size_t most) {
  std::vector<std::string> fields;
  while (fields.size() < most) {
    line.remove_prefix(std::min(line.find_first_not_of(','), line.size()));
    if (line.empty()) break;
    size_t end = fields.size() + 1 == most ? line.size() : std::min(line.find(','), line.size());
    fields.emplace_back(line.substr(0, end));
    line.remove_prefix(end);
  }
  return fields;
}

void blank_underscores(std::vector<std::string>& fields) {
  constexpr std::string_view keywords[] = {"Zone", "Region", "Host", "Hub", "Pvt", "Hold", "Down"};
  bool keyword =
      !fields.empty() && std::any_of(std::begin(keywords), std::end(keywords),
                                     [&](std::string_view word) { return equal_nocase(fields[0], word); });
  size_t system_name = keyword ? 2 : 1;
  for (size_t i : {system_name, system_name + 2}) {
    if (i < fields.size()) std::replace(fields[i].begin(), fields[i].end(), '_', ' ');
  }
}

// What GetNodelistBlock shows of an entry.
std::string describe(const NodelistEntry& entry) {
  std::string text =
      format_text("%s %hu %hu %s", entry.ext.c_str(), entry.zone, entry.region, entry.path.c_str());
  std::vector<std::string> names;
  resolve_templates(entry.path, entry.templates, names);
  for (const std::string& name : names) text += " " + name;
  return text;
}

// With a tag, the entries of the first block that has it; without one, those of all blocks.
void describe_blocks(const std::vector<NodelistBlock>& list, const std::string* tag,
                     std::vector<std::string>& out) {
  for (const NodelistBlock& block : list) {
    if (tag != nullptr && !equal_nocase(block.tag, *tag)) continue;
    for (const NodelistEntry& entry : block.entries) out.push_back(describe(entry));
    if (tag != nullptr) return;
  }
}

void rebuild_blocks(std::vector<NodelistBlock>& list, const IndexKind& kind, const std::string* tag) {
  for (NodelistBlock& block : list) {
    if (tag != nullptr && !equal_nocase(block.tag, *tag)) continue;
    log_line(1, "rebuilding nodelist indexes");
    print_progress("rebuilding nodelist indexes\n");
    log_line(4, "rebndl: rebuilding nodelist block `%s'\n", block.tag.c_str());
    for (NodelistEntry& entry : block.entries) {
      if (resolve_templates(entry.path, entry.templates, entry.names) == 0) {
        stop_run("NdlReBuild error: nodelist file template not found: `%s'\n", entry.templates.c_str());
      }
      if (!kind.build(entry)) stop_run("rebndl error: nodelist rebuild failed\n");
    }
  }
}

// The words of a selection of nodelists, and which of them a block has claimed.
struct Selection {
  std::vector<std::string> words;
  std::vector<bool> claimed = {};
  size_t reached = 0;  // the walks have looked at the words in front of this one
};

void select_blocks(std::vector<NodelistBlock>& list, Selection& selection) {
  for (NodelistBlock& block : list) {
    for (size_t i = 0; i < selection.words.size(); i++) {
      std::string_view word = selection.words[i];
      bool is_signed = word.starts_with('+') || word.starts_with('-');
      selection.reached = std::max(selection.reached, i + 1);
      if (equal_nocase(is_signed ? word.substr(1) : word, block.tag)) {
        block.active = !word.starts_with('-');
        selection.claimed[i] = true;
        break;
      }
      if (!is_signed) block.active = false;
    }
  }
}

}  // namespace

void perl_GetNodelistRecord(ScriptCall& call) {
  auto field = static_cast<size_t>(std::max(to_number(call.text(0)), 0L));
  FtnAddr addr = address_arg(call, 1);
  bool one_block = call.count() > 2;
  std::string tag = expanded_arg(call, 2);
  clear_node_line();
  uint16_t uplink = 0;
  uint16_t region = 0;
  for (const NodelistBlock& block : blocks.nodelist) {
    if (one_block && !equal_nocase(block.tag, tag)) continue;
    if (is_listed(block, addr, uplink, region) || one_block) break;
  }
  call.give_nothing();
  const std::string& line = last_node_line();
  if (line.empty()) return;
  std::vector<std::string> fields = {line};
  if (field > 0) {
    fields = split_record(line, field);
    blank_underscores(fields);
  }
  if (!fields.empty()) call.give_list(fields);
}

void perl_GetUplink(ScriptCall& call) {
  FtnAddr addr = address_arg(call, 0);
  uint16_t uplink = 0;
  uint16_t region = 0;
  if (find_uplink(addr, uplink, region) == 0) return;
  addr.node = uplink;
  addr.point = 0;
  call.give(addr_to_text(addr));
}

void perl_GetNodelistBlock(ScriptCall& call) {
  std::string tag = expanded_arg(call, 0);
  const std::string* wanted = call.count() > 0 ? &tag : nullptr;
  std::vector<std::string> shown;
  describe_blocks(blocks.nodelist, wanted, shown);
  describe_blocks(blocks.version9, wanted, shown);
  call.give_list(shown);
}

void perl_NdlReBuild(ScriptCall& call) {
  std::string tag = expanded_arg(call, 0);
  const std::string* wanted = call.count() > 0 ? &tag : nullptr;
  rebuild_blocks(blocks.nodelist, ndl_kind, wanted);
  rebuild_blocks(blocks.version9, v9_kind, wanted);
}

void perl_ActiveNodelist(ScriptCall& call) {
  constexpr size_t most_words = 20;
  std::string text = expanded_arg(call, 0);
  Selection selection = {.words = split_words(text, most_words + 1)};
  if (selection.words.empty() || selection.words.size() > most_words) {
    stop_run("%s syntax `%s'\n", call.label(), text.c_str());
  }
  selection.claimed.resize(selection.words.size());
  select_blocks(blocks.version9, selection);
  select_blocks(blocks.nodelist, selection);
  for (size_t i = 0; i < selection.reached; i++) {
    if (selection.claimed[i]) continue;
    stop_run("%s nodelist or v9 block undefined : `%s'\n", call.label(), selection.words[i].c_str());
  }
}

void perl_SetFboxPath(ScriptCall& call) {
  run.fbox_path = call.text(0);
}

}  // namespace quelmo
