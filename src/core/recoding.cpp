#include "core/recoding.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <numeric>
#include <optional>
#include <string_view>

#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "platform/files.h"

namespace quelmo {

Recoding recoding;

namespace {

constexpr size_t line_width = 511;  // a longer line counts as several

// The next word of a line; empty if there is none.
std::string map_word(std::string_view& line) {
  constexpr std::string_view gaps = " \t\r\n#";
  line.remove_prefix(std::min(line.find_first_not_of(gaps), line.size()));
  std::string_view word = line.substr(0, line.find_first_of(gaps));
  line.remove_prefix(word.size());
  return std::string(word);
}

// The value of a word that is a number as a whole; 0 of any other.
unsigned long map_number(const std::string& word) {
  if (std::isdigit(static_cast<unsigned char>(word[0])) == 0) return 0;
  char* end = nullptr;
  unsigned long value = std::strtoul(word.c_str(), &end, 0);
  return *end == '\0' ? value : 0;
}

}  // namespace

void getctab(RecodeTable& table, const std::string& file) {
  constexpr uint64_t largest_file = 1 << 20;
  std::optional<std::string> bytes = read_file(file, largest_file);
  if (!bytes) {
    write_stderr(format_text("getctab: cannot open mapchan file \"%s\"\n", file.c_str()));
    return;
  }
  std::string_view rest = *bytes;
  size_t mappings = 0;
  for (int number = 1; !rest.empty(); number++) {
    std::string_view line = next_line(rest, line_width);
    std::string source_word = map_word(line);
    std::string target_word = map_word(line);
    if (target_word.empty()) continue;
    unsigned long source = map_number(source_word);
    auto target = static_cast<uint8_t>(map_number(target_word));
    if (source >= table.size()) {
      write_stderr(format_text("getctab: %s: line %d: char val too big\n", file.c_str(), number));
      break;
    }
    if (source == 0 || target == 0) continue;
    if (++mappings > table.size()) {
      write_stderr(format_text("getctab: char map table \"%s\" is big\n", file.c_str()));
      break;
    }
    table[source] = target;
  }
  log_line(3, "read recoding table from %s", file.c_str());
}

void init_recoding() {
  std::iota(recoding.in_table.begin(), recoding.in_table.end(), uint8_t{0});
  recoding.out_table = recoding.in_table;
  if (!config.outtab_file.empty()) getctab(recoding.out_table, config.outtab_file);
  if (!config.intab_file.empty()) getctab(recoding.in_table, config.intab_file);
}

void recode(const RecodeTable& table, std::string& bytes) {
  for (char& byte : bytes) byte = static_cast<char>(table[static_cast<uint8_t>(byte)]);
}

}  // namespace quelmo
