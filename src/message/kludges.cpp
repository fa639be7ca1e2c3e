#include "message/kludges.h"

#include <iterator>

#include "core/text.h"

namespace quelmo {
namespace {

struct Token {
  std::string_view name;
  Kludge id;
  KludgeKind kind;
};

constexpr Token tokens[] = {
    {"AREA", kludge_area, kind_head},   {"DOMAIN", kludge_domain, kind_head},
    {"FLAGS", kludge_flags, kind_head}, {"FMPT", kludge_fmpt, kind_head},
    {"INTL", kludge_intl, kind_head},   {"MSGID", kludge_msgid, kind_head},
    {"PATH", kludge_path, kind_tail},   {"PID", kludge_pid, kind_head},
    {"REPLY", kludge_reply, kind_head}, {"SEEN-BY", kludge_seen_by, kind_tail},
    {"TID", kludge_tid, kind_head},     {"TOPT", kludge_topt, kind_head},
    {"Via", kludge_via, kind_tail},     {"Recv", kludge_recv, kind_tail},
};

constexpr bool ids_in_order() {
  for (int i = 0; i < kludge_count; i++) {
    if (tokens[i].id != i) return false;
  }
  return true;
}
static_assert(std::size(tokens) == kludge_count && ids_in_order());

}  // namespace

bool is_tear_line(std::string_view line) {
  return line.starts_with("---") && (line.starts_with("--- ") || line == "---\r" || line == "---\r\n");
}

bool is_via(std::string_view line) {
  return !line.empty() && line[0] == soh && starts_nocase(line.substr(1), "Via");
}

KludgeKind kludge_kind(std::string_view line) {
  if (!line.empty() && line[0] == soh) line.remove_prefix(1);
  for (const Token& token : tokens) {
    if (line.starts_with(token.name)) return token.kind;
  }
  return kind_none;
}

Kludge kludge_id(std::string_view line) {
  if (line.empty()) return kludge_unknown;
  line.remove_prefix(1);
  for (const Token& token : tokens) {
    if (starts_nocase(line, token.name)) return token.id;
  }
  return kludge_unknown;
}

std::string_view kludge_argument(std::string_view line, Kludge id) {
  line = strip_line_end(line);
  line.remove_prefix(std::min(line.size(), 1 + tokens[id].name.size()));
  if (!line.empty() && line[0] == ':') line.remove_prefix(1);
  line.remove_prefix(std::min<size_t>(line.size(), 1));
  return line;
}

std::string_view kludge_name(std::string_view line, std::string& made) {
  std::string_view word = strip_line_end(line);
  word = word.substr(0, word.find_first_of(" \t"));
  if (line[0] == soh) return word;
  made.assign(1, soh).append(word);
  return made;
}

std::optional<std::string_view> echo_tag(const LineList& text) {
  constexpr std::string_view area = "AREA:";
  for (std::string_view line : text) {
    if (is_kludge(line)) continue;
    if (!line.starts_with(area)) break;
    return trim_spaces(strip_line_end(line.substr(area.size())));
  }
  return std::nullopt;
}

}  // namespace quelmo
