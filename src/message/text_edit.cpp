#include "message/text_edit.h"

#include <string>

#include "core/text.h"
#include "message/kludges.h"

namespace quelmo {
namespace {

// The element ahead of which add_text inserts, counting body lines. The further elements of a long kludge
// belong to it, and those of a long body line count once with it.
size_t body_place(const LineList& list, int pos) {
  int counter = 0;
  for (size_t i = 0; i < list.size(); i = line_end(list, i)) {
    std::string_view element = list[i];
    if (is_kludge(element) || (i == 0 && element.starts_with("AREA:"))) {
      if (kludge_kind(element) == kind_tail) return i;
    } else if (pos != at_end && (is_tear_line(element) || is_origin(element))) {
      return i;
    } else {
      counter++;
    }
    if (counter == pos) return i;
  }
  return list.size();
}

size_t place(const LineList& list, int pos, Count count) {
  if (pos == 0) return 0;
  if (count == Count::body) return body_place(list, pos);
  return pos > 0 ? std::min(static_cast<size_t>(pos) - 1, list.size()) : list.size();
}

bool is_body(std::string_view element) {
  return !is_kludge(element) && !is_tear_line(element) && !is_origin(element);
}

bool starts_kludge(std::string_view element, std::string_view word) {
  return !element.empty() && element[0] == soh && starts_nocase(element.substr(1), word);
}

}  // namespace

size_t line_end(const LineList& list, size_t first) {
  size_t end = first;
  while (end < list.size() && !ends_line(list[end])) end++;
  return std::min(end + 1, list.size());
}

void replace_line(LineList& list, size_t first, std::string_view text) {
  size_t end = line_end(list, first);
  list.set(first, text);
  list.erase(first + 1, end - first - 1);
}

void end_last_line(LineList& list) {
  if (list.empty() || ends_line(list.back())) return;
  if (list.back().size() < LineList::element_limit) {
    list.set(list.size() - 1, std::string(list.back()) + "\r");
  } else {
    list.append("\r");
  }
}

void add_text(LineList& list, const LineList& lines, int pos, Count count) {
  size_t at = place(list, pos, count);
  if (at == list.size()) {
    end_last_line(list);
    at = list.size();
  }
  list.insert(at, lines);
}

void add_text(LineList& list, std::string_view line, int pos, Count count) {
  LineList lines;
  lines.append(line);
  add_text(list, lines, pos, count);
}

int delete_line(LineList& list, int n, Count count) {
  int counter = 0;
  for (size_t first = 0; first < list.size();) {
    size_t end = line_end(list, first);
    bool counts = count == Count::all || is_body(list[first]);
    if (counts && ++counter == n) {
      list.erase(first, end - first);
      return 1;
    }
    first = end;
  }
  return 0;
}

void set_flags_kludge(LineList& list, std::string_view words) {
  size_t at = 0;
  for (size_t i = 0; i < list.size(); i = line_end(list, i)) {
    std::string_view element = list[i];
    if (at == 0 && element.starts_with("AREA")) {
      at = 1;
    } else if (!is_kludge(element)) {
      break;
    } else if (starts_kludge(element, "FLAGS ")) {
      list.erase(i, line_end(list, i) - i);
      at = i;
      break;
    } else if (starts_kludge(element, "INTL") || starts_kludge(element, "TOPT") ||
               starts_kludge(element, "FMPT")) {
      at++;
    }
  }
  if (!words.empty())
    list.insert(std::min(at, list.size()),
                "\x01"
                "FLAGS " +
                    std::string(words) + "\r");
}

void invalidate_vias(LineList& list) {
  for (size_t i = 0; i < list.size(); i++) {
    if (is_via(list[i])) list.set_byte(i, 0, '@');
  }
}

void invalidate_kludges(LineList& list, bool all) {
  for (size_t i = 0; i < list.size(); i++) {
    if (!is_kludge(list[i])) continue;
    switch (all ? kludge_unknown : kludge_id(list[i])) {
      case kludge_domain:
      case kludge_fmpt:
      case kludge_intl:
      case kludge_msgid:
      case kludge_topt:
      case kludge_via:
        break;
      default:
        list.set_byte(i, 0, '@');
    }
  }
}

void invalidate_tear_origin(LineList& list) {
  for (size_t i = 0; i < list.size(); i++) {
    if (is_tear_line(list[i]) || is_origin(list[i])) list.set_byte(i, 1, '+');
  }
}

void text_to_lines(LineList& list, std::string_view text) {
  constexpr size_t widest = 254;
  while (text.size() > widest) {
    list.append(text.substr(0, widest));
    text.remove_prefix(widest);
  }
  list.append(std::string(text) + "\r");
}

}  // namespace quelmo
