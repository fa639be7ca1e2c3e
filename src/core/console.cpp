#include "core/console.h"

#include <algorithm>
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

ProgressLine::ProgressLine(const std::string& title, size_t count, size_t width)
    : step_(std::max<size_t>(count / (width - std::min(title.size(), width - 1)), 1)) {
  print_progress("%s", title.c_str());
}

void ProgressLine::one_more() {
  if (++count_ % step_ == 0) print_progress("3");
}

void ProgressLine::done() {
  print_progress(" done.\n");
}

}  // namespace quelmo
