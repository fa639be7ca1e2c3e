// Lines of a nodelist (FTS-5000): comment lines begin with ";", the others are fields between commas, of
// which the first is a keyword (empty for a plain node) and the second a number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quelmo {

/// Walks the lines of a nodelist. A line ends in LF, CR LF, or at the end of the text; of a line longer than
/// `limit` what lies behind the limit is ignored.
class ListLines {
 public:
  ListLines(std::string_view list, size_t start, size_t limit) : list_(list), at_(start), limit_(limit) {}

  /// The next line, without its end; false at the end of the list.
  bool next(std::string_view& line);
  /// Offset of the line that `next` gave last.
  size_t offset() const { return offset_; }

 private:
  std::string_view list_;
  size_t at_;
  size_t limit_;
  size_t offset_ = 0;
};

/// The kind of a line, by its keyword.
enum class ListKeyword : char {
  node = ' ',  ///< no keyword
  zone = 'Z',
  region = 'R',
  host = 's',
  hub = 'b',
  hold = 'l',
  pvt = 'P',
  down = 'D',
  other = '?',
};

struct ListLine {
  ListKeyword keyword = ListKeyword::other;
  int number = 0;
};

enum class ListFault {
  none,
  no_commas,  ///< fewer than two: not of the form at all
  no_number,  ///< the second field is no number of at most five digits
};

/// Takes keyword and number of a line.
ListFault parse_list_line(std::string_view line, ListLine& parsed);

}  // namespace quelmo
