#include "select/block_parsers.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "config/tags.h"
#include "core/dirs.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/attributes.h"

namespace quelmo {
namespace {

constexpr int64_t largest = std::numeric_limits<int32_t>::max();

// Numbers beyond 32 bits are held at the limit rather than wrapped: an age or a length that is far too large
// must not turn into a small or negative one.
int64_t limited(int64_t number) {
  return std::clamp(number, -largest, largest);
}

int32_t limited_sum(int64_t a, int64_t unit_a, int64_t b, int64_t unit_b) {
  return static_cast<int32_t>(limited(limited(a) * unit_a + limited(b) * unit_b));
}

// A number from `lowest` to `highest`, or `*`.
bool parse_date_part(std::string_view text, int lowest, int highest, int& part) {
  part = any_date_part;
  if (text == "*") return true;
  if (!is_number(text)) return false;
  part = static_cast<int>(to_number(text));
  return part >= lowest && part <= highest;
}

}  // namespace

bool parse_length(std::string_view text, int32_t& bytes) {
  int64_t unit = 1;
  char last = text.empty() ? '\0' : lower_byte(text.back());
  if (last == 'k' || last == 'm') {
    unit = last == 'k' ? 1024 : 1048576;
    text.remove_suffix(1);
  }
  if (!is_number(text)) return false;
  bytes = limited_sum(to_number(text), unit, 0, 0);
  return true;
}

bool parse_age(std::string_view text, int32_t& seconds) {
  constexpr int64_t day = 86400;
  constexpr int64_t minute = 60;
  size_t colon = text.find(':');
  bool halves = colon != std::string_view::npos;
  std::string_view days = text.substr(0, colon);
  std::string_view mins = halves ? text.substr(colon + 1) : std::string_view();
  if (!is_number(days) && !(halves && days.empty())) return false;
  if (!is_number(mins) && !mins.empty()) return false;
  seconds = limited_sum(to_number(days), day, to_number(mins), minute);
  return true;
}

bool parse_date(std::string_view text, DateEntry& date) {
  constexpr size_t longest = 8;
  constexpr int years = std::numeric_limits<int>::max();
  if (text.size() > longest) return false;
  std::vector<std::string_view> parts = split_at(text, {".", "."});
  if (parts.size() != 3 || !parse_date_part(parts[0], 1, 31, date.day) ||
      !parse_date_part(parts[1], 1, 12, date.month) || !parse_date_part(parts[2], -years, years, date.year)) {
    return false;
  }
  if (date.month != any_date_part) date.month--;
  if (date.year != any_date_part && date.year > 1900) date.year -= 1900;
  return true;
}

bool parse_days_of_week(std::string_view text, std::vector<int>& dow) {
  constexpr std::string_view names[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  dow.clear();
  std::string_view word;
  while (next_word(text, word)) {
    auto name =
        std::ranges::find_if(names, [&](std::string_view known) { return equal_nocase(known, word); });
    if (name == std::end(names)) return false;
    if (dow.size() < std::size(names)) dow.push_back(static_cast<int>(name - names) + 1);
  }
  return true;
}

std::string_view take_word(std::string_view& text) {
  std::string_view word;
  next_word(text, word);
  return word;
}

bool dir_of_word(std::string_view word, std::string& dir) {
  word.remove_prefix(1);
  if (word.empty()) {
    dir = config.flag_dir.view();
    return true;
  }
  dir = word;
  return check_path(dir);
}

FtnAddr any_address() {
  FtnAddr any;
  any.zone = any.net = any.node = any.point = wild_any;
  return any;
}

FixedText<20> open_block(DataTypeId type, std::string_view tag, const std::string& prefix) {
  FixedText<20> stored = std::string_view(upper(tag));
  if (stored.empty()) {
    stop_run_logged("%s incorrect data block name : `%s'", prefix.c_str(), std::string(tag).c_str());
  }
  define_tag(type, stored, prefix);
  return stored;
}

Regex compile_pattern(std::string_view pattern, const std::string& prefix) {
  Regex regex;
  std::string error;
  if (config.use_regexp && !regex.compile(pattern, config.rx_cflags, error)) {
    stop_run_logged("%s regular expression syntax : `%s' (%s)", prefix.c_str(), std::string(pattern).c_str(),
                    error.c_str());
  }
  return regex;
}

FtnAddr block_address(std::string_view text, const std::string& prefix) {
  FtnAddr addr;
  if (addr_parse_wild(text, addr) == 0) {
    stop_run_logged("%s incorrect address : `%s'\n", prefix.c_str(), std::string(text).c_str());
  }
  return addr;
}

int32_t block_age(std::string_view word, const std::string& prefix) {
  constexpr size_t width = 9;
  int32_t seconds = 0;
  word = word.substr(0, width);
  if (!parse_age(word, seconds)) {
    stop_run_logged("%s syntax in age : `%s' -- should be days:mins", prefix.c_str(),
                    std::string(word).c_str());
  }
  return seconds;
}

void check_attr_name(std::string_view word, const std::string& prefix) {
  if (!attr_name_known(word)) {
    stop_run_logged("%s incorrect attribute : `%s'\n", prefix.c_str(), std::string(word).c_str());
  }
}

}  // namespace quelmo
