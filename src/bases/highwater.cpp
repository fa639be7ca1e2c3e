#include "bases/highwater.h"

#include <algorithm>
#include <string>
#include <vector>

#include "core/fixed_text.h"
#include "core/log.h"
#include "core/text.h"
#include "platform/directory.h"
#include "platform/path.h"

namespace quelmo {
namespace {

// Numbers above this are no numbers of messages: the programs of the field hold them in 32 bits with a sign.
constexpr int64_t largest_number = INT32_MAX - 1;

struct HighwaterEntry {
  FixedText<20> tag;
  uint32_t next_no = 0;
};
std::vector<HighwaterEntry> highwater;

}  // namespace

uint32_t get_highwater(std::string_view area, std::string_view dir, std::string_view ext) {
  auto entry = std::find_if(highwater.begin(), highwater.end(),
                            [&](const HighwaterEntry& known) { return equal_nocase(known.tag, area); });
  if (entry != highwater.end()) {
    uint32_t n = entry->next_no++;
    if (!name_taken(disk_path(dir) + std::to_string(n) + "." + std::string(ext))) return n;
    log_line(4, "get_highwater, file got from cache exists, re-read\n");
    n = get_max_msg(dir, ext);
    entry->next_no = n + 1;
    return n;
  }
  uint32_t n = get_max_msg(dir, ext);
  log_line(4, "get_highwater: fetch max msg no directly (%u)\n", n);
  highwater.push_back({.tag = area, .next_no = n + 1});
  return n;
}

uint32_t get_max_msg(std::string_view dir, std::string_view ext) {
  std::string ending = "." + std::string(ext);
  log_line(4, "get_max_msg: search for pattern `%s*%s'\n", std::string(dir).c_str(), ending.c_str());
  int64_t highest = 0;
  Directory directory;
  if (directory.open(dir)) {
    directory.each_name([&](std::string_view name, bool) {
      size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
      if (!equal_nocase(name.substr(digits), ending)) return;
      int64_t number = to_number(name.substr(0, digits));
      if (number <= largest_number) highest = std::max(highest, number);
    });
  }
  return static_cast<uint32_t>(highest + 1);
}

void free_highwater() {
  highwater.clear();
}

}  // namespace quelmo
