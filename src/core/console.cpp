#include "core/console.h"

#include <cstdarg>
#include <cstdio>

#include "core/run_state.h"

namespace quelmo {

namespace {

[[gnu::format(printf, 1, 0)]] void print(const char* format, va_list args) {
  std::vprintf(format, args);
  std::fflush(stdout);
}

}  // namespace

void print_line(const char* format, ...) {
  va_list args;
  va_start(args, format);
  print(format, args);
  va_end(args);
}

void print_progress(const char* format, ...) {
  if (!config.chat) return;
  va_list args;
  va_start(args, format);
  print(format, args);
  va_end(args);
}

}  // namespace quelmo
