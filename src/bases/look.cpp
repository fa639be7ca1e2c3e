#include "bases/look.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <string_view>

#include "bases/dates.h"
#include "core/console.h"
#include "message/attributes.h"

namespace quelmo {
namespace {

// Control bytes of other people's mail must not reach a terminal.
std::string shown(std::string_view text) {
  std::string out(text);
  for (char& byte : out) {
    if (static_cast<unsigned char>(byte) < ' ' || byte == '\x7F') byte = '.';
  }
  return out;
}

}  // namespace

void Look::message(uint32_t number, const Msg& msg) const {
  if (check) return;
  FixedText<20> date = msg.time != 0 ? unix_to_fts(msg.time) : msg.date;
  std::string attributes = attr_to_text(msg.attr);
  print_line("%6u  %-19s  %-24s  %-24s  %s%s%s\n", number, shown(date).c_str(), shown(msg.fromname).c_str(),
             shown(msg.toname).c_str(), shown(msg.subject).c_str(), attributes.empty() ? "" : "  ",
             attributes.c_str());
}

void Look::fault(const char* format, ...) {
  if (!check) return;
  faults++;
  if (silent) return;
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
  std::printf("\n");
}

}  // namespace quelmo
