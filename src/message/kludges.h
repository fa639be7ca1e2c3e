// Classes of message lines, and the kludges that the program knows (FTS-0001, FTS-0004, FTS-0009, FSC-0053).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "message/line_list.h"

namespace quelmo {

constexpr char soh = '\x01';  ///< the CTRL-A that begins a kludge

/// Begins with CTRL-A or "SEEN-BY", case counting.
constexpr bool is_kludge(std::string_view line) {
  return !line.empty() && (line[0] == soh || (line[0] == 'S' && line.starts_with("SEEN-BY")));
}
/// Begins "--- ", or is exactly "---" and the line end.
bool is_tear_line(std::string_view line);
/// Begins " * Origin:".
constexpr bool is_origin(std::string_view line) {
  return line.starts_with(" * Origin:");
}
/// Begins with CTRL-A and "Via" in any case.
bool is_via(std::string_view line);

// Ids in the order of the table of tokens.
enum Kludge : int {
  kludge_unknown = -1,
  kludge_area = 0,
  kludge_domain,
  kludge_flags,
  kludge_fmpt,
  kludge_intl,
  kludge_msgid,
  kludge_path,
  kludge_pid,
  kludge_reply,
  kludge_seen_by,
  kludge_tid,
  kludge_topt,
  kludge_via,
  kludge_recv,
  kludge_count,
};

/// Where a kludge stands in a message: 1 at its head, 2 at its tail, behind the body.
enum KludgeKind : int { kind_none = 0, kind_head = 1, kind_tail = 2 };

/// Kind of the first token that a line begins with behind one CTRL-A (if there is one), case counting.
KludgeKind kludge_kind(std::string_view line);

/// Id of the first token that stands behind the first character of a line, ignoring case. A SEEN-BY line has
/// no CTRL-A, loses its "S" that way, and is unknown here.
Kludge kludge_id(std::string_view line);

/// What stands behind the token of a line of this kind: behind a ":" if one follows, and one character
/// further, without the line end.
std::string_view kludge_argument(std::string_view line, Kludge id);

/// The first word of a kludge as the tests of kludges name it: with its CTRL-A, which a SEEN-BY line is given
/// in `made`.
std::string_view kludge_name(std::string_view line, std::string& made);

/// The tag of an echomail message: what follows AREA: in the first line that is no kludge. Nothing if that
/// line is another one.
std::optional<std::string_view> echo_tag(const LineList& text);

}  // namespace quelmo
