#include "core/console.h"

#include <cstdarg>
#include <cstdio>

#include "core/run_state.h"

namespace quelmo {

void print_line(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
  std::fflush(stdout);
}

void print_progress(const char* format, ...) {
  if (!config.chat) return;
  va_list args;
  va_start(args, format);
  std::vprintf(format, args);
  va_end(args);
  std::fflush(stdout);
}

}  // namespace quelmo
