#include "archive/arcmail_names.h"

#include <algorithm>
#include <ctime>
#include <optional>

#include "core/crc32.h"
#include "core/log.h"
#include "core/text.h"
#include "platform/directory.h"
#include "platform/files.h"

namespace quelmo {
namespace {

constexpr std::string_view days[] = {"Su", "Mo", "Tu", "We", "Th", "Fr", "Sa"};
constexpr size_t stem_width = 8;
constexpr size_t name_width = stem_width + 4;

std::string_view day_now() {
  std::time_t now = std::time(nullptr);
  std::tm utc = {};
  ::gmtime_r(&now, &utc);
  return days[static_cast<size_t>(utc.tm_wday)];
}

std::string_view day_of(std::string_view name) {
  return name.substr(stem_width + 1, 2);
}

char next_char(char c) {
  c = static_cast<char>(c + 1);
  return c > '9' && c < 'a' ? 'a' : c;
}

// A character of which no bundle, or an empty one, stands; 0 if there is none.
char find_hole(const std::string& dir, const std::string& stem) {
  log_line(4, "get_last_char (arcmail naming): all chars used, try to find a hole\n");
  for (char c = '0'; c < 'z'; c = next_char(c)) {
    std::string path = dir + stem + c;
    std::optional<FileInfo> info = file_info(path);
    if (!info) {
      log_line(4, "get_last_char (arcmail naming): file not exist (%s), use it\n", path.c_str());
      return c;
    }
    if (info->size == 0 && !info->is_directory) {
      log_line(4, "get_last_char (arcmail naming): file empty (%s), kill&use it\n", path.c_str());
      if (remove_file(path)) return c;
    }
  }
  return 0;
}

// The character for a new bundle whose name begins with `stem`; 0 if all are taken.
char get_last_char(const std::string& dir, const std::string& stem) {
  std::string pattern = dir + stem + "?";
  log_line(4, "get_last_char (arcmail naming): search for pattern: `%s'\n", pattern.c_str());
  char highest = 0;
  for (const FoundFile& found : find_files(pattern)) {
    if (!is_arcmail_name(found.name)) continue;
    char last = lower_byte(found.name.back());
    highest = std::max(highest, last);
    log_line(4, "get_last_char (arcmail naming): found file `%s', lchar: `%c', maxlchar: `%c'\n",
             found.name.c_str(), last, highest);
  }
  char next = highest == 0 ? '0' : next_char(highest);
  log_line(4, "get_last_char (arcmail naming): max char is : `%c'\n", next);
  return next >= '0' && next <= 'z' ? next : find_hole(dir, stem);
}

}  // namespace

bool is_arcmail_name(std::string_view name) {
  return name.size() == name_width && name[stem_width] == '.' && is_hex(name.substr(0, stem_width)) &&
         std::ranges::any_of(days, [&](std::string_view day) { return equal_nocase(day_of(name), day); });
}

bool is_curdate(std::string_view name) {
  return equal_nocase(day_of(name), day_now());
}

std::string make_new_arcname(const FtnAddr& to, const std::string& dir) {
  std::string address = addr_to_text(to);
  std::string stem = format_text("%08lX.", static_cast<unsigned long>(crc32_update(crc32_start, address)));
  stem += day_now();
  char last = get_last_char(dir, stem);
  if (last != 0) return stem + last;
  log_line(0, "make_new_arcname error: extention set exhausted for node %s\n", address.c_str());
  return {};
}

}  // namespace quelmo
