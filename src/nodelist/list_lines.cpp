#include "nodelist/list_lines.h"

#include <algorithm>

#include "core/text.h"

namespace quelmo {
namespace {

// Of a keyword its first letter tells, but those with an H differ in the third: Host, Hub, Hold.
ListKeyword keyword_of(std::string_view word) {
  if (word.empty()) return ListKeyword::node;
  char letter = word[0];
  if (letter == 'H') letter = word.size() > 2 ? word[2] : '?';
  switch (letter) {
    case 'Z':
    case 'R':
    case 's':
    case 'b':
    case 'l':
    case 'P':
    case 'D':
      return static_cast<ListKeyword>(letter);
    default:
      return ListKeyword::other;
  }
}

}  // namespace

bool ListLines::next(std::string_view& line) {
  if (at_ >= list_.size()) return false;
  offset_ = at_;
  size_t end = std::min(list_.find('\n', at_), list_.size());
  line = strip_line_end(list_.substr(at_, end - at_)).substr(0, limit_);
  at_ = end + 1;
  return true;
}

ListFault parse_list_line(std::string_view line, ListLine& parsed) {
  constexpr size_t number_width = 5;
  size_t first = line.find(',');
  if (first == std::string_view::npos) return ListFault::no_commas;
  size_t second = line.find(',', first + 1);
  if (second == std::string_view::npos) return ListFault::no_commas;
  std::string_view number = line.substr(first + 1, second - first - 1);
  if (number.size() > number_width || !is_number(number)) return ListFault::no_number;
  parsed.keyword = keyword_of(line.substr(0, first));
  parsed.number = static_cast<int>(to_number(number));
  return ListFault::none;
}

}  // namespace quelmo
