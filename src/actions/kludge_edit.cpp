#include "actions/kludge_edit.h"

#include <string>

#include "core/log.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/kludges.h"
#include "message/new_head.h"
#include "message/parse.h"
#include "message/text_edit.h"

namespace quelmo {
namespace {

// A point kludge on its way through a text: what it shall say (empty: it shall not be there), and whether a
// line of it was met.
struct PointKludge {
  std::string line;
  bool stood = false;
};

PointKludge point_kludge(const char* token, uint16_t point) {
  return {.line =
              point != 0 ? "\x01" + std::string(token) + " " + std::to_string(point) + "\r" : std::string()};
}

// Rewrites or removes the line at `i`; true if the line is gone.
bool apply_point(LineList& list, size_t i, PointKludge& kludge) {
  // Of several lines of a kind the first takes the text, and the others go.
  if (kludge.line.empty() || kludge.stood) {
    list.erase(i, line_end(list, i) - i);
    return true;
  }
  replace_line(list, i, kludge.line);
  kludge.stood = true;
  return false;
}

bool is_netmail_only(Kludge id) {
  switch (id) {
    case kludge_domain:
    case kludge_fmpt:
    case kludge_intl:
    case kludge_topt:
    case kludge_via:
    case kludge_recv:
      return true;
    default:
      return false;
  }
}

// The FLAGS line, without its CR, with the words that the table doesn't know; empty if none are left.
std::string unknown_flags(std::string_view line) {
  std::string_view words = kludge_argument(line, kludge_flags);
  std::string_view word;
  std::string kept;
  while (next_word(words, word)) {
    if (flag_by_name(word) == unknown_bit16) kept += " " + std::string(word);
  }
  return kept.empty() ? kept
                      : "\x01"
                        "FLAGS" +
                            kept;
}

}  // namespace

void change_netmail_kludges(Msg& msg, LineList& list) {
  FtnAddr aka;
  match_aka(area_system(CurMsg.tag), msg.to, aka);
  PointKludge fmpt = point_kludge("FMPT", msg.from.point);
  PointKludge topt = point_kludge("TOPT", msg.to.point);
  size_t at = 0;
  for (size_t i = 0; i < list.size();) {
    std::string_view line = list[i];
    bool gone = false;
    switch (is_kludge(line) ? kludge_id(line) : kludge_unknown) {
      case kludge_domain:
        at++;
        break;
      case kludge_fmpt:
        gone = apply_point(list, i, fmpt);
        break;
      case kludge_topt:
        gone = apply_point(list, i, topt);
        break;
      case kludge_intl:
        msg.intl = format_text("%u:%u/%u %u:%u/%u", msg.to.zone, msg.to.net, msg.to.node, msg.from.zone,
                               msg.from.net, msg.from.node);
        replace_line(list, i, "\x01INTL " + msg.intl.str() + "\r");
        at++;
        break;
      case kludge_via:
        if (i + 1 == list.size()) list.set(i, make_via(aka));
        break;
      default:
        if (is_origin(line)) replace_origin(list, i, msg.from);
    }
    if (!gone) i = line_end(list, i);
  }
  at = std::min(at, list.size());
  if (!fmpt.stood && !fmpt.line.empty()) list.insert(at, fmpt.line);
  if (!topt.stood && !topt.line.empty()) list.insert(at, topt.line);
}

void change_echomail_kludges(const Msg& msg, LineList& list) {
  for (size_t i = 0; i < list.size(); i = line_end(list, i)) {
    if (is_kludge(list[i]) && kludge_id(list[i]) == kludge_msgid) {
      replace_line(list, i, make_msgid(msg.from));
    } else if (is_origin(list[i])) {
      replace_origin(list, i, msg.from);
    }
  }
}

void strip_netmail_kludges(LineList& list) {
  LineList kept;
  for (size_t i = 0; i < list.size();) {
    size_t end = line_end(list, i);
    Kludge id = is_kludge(list[i]) ? kludge_id(list[i]) : kludge_unknown;
    if (id == kludge_flags) {
      std::string line;
      for (size_t piece = i; piece < end; piece++) line += list[piece];
      line = unknown_flags(line);
      if (!line.empty()) text_to_lines(kept, line);
    } else if (!is_netmail_only(id)) {
      for (size_t piece = i; piece < end; piece++) kept.append(list[piece]);
    }
    i = end;
  }
  list = std::move(kept);
}

void replace_origin(LineList& list, size_t element, const FtnAddr& addr) {
  std::string line(list[element]);
  std::string_view written = origin_address(line);
  if (written.empty()) return;
  FtnAddr old;
  if (addr_parse(written, old) == 0) {
    log_line(4, "replace_origin: error parsing origin address:`%s'\n", std::string(written).c_str());
    return;
  }
  auto at = static_cast<size_t>(written.data() - line.data());
  line.replace(at, written.size(), addr_to_text(addr));
  list.set(element, line);
  if (line.size() > LineList::element_limit) list.insert(element + 1, line.substr(LineList::element_limit));
}

}  // namespace quelmo
