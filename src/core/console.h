// What the program itself says on stdout: progress lines, which `chat` switches off, and the few texts that
// stand whatever it says.
#pragma once

#include <cstddef>
#include <string>

namespace quelmo {

/// Written at once, so that it keeps its place among what scripts print.
[[gnu::format(printf, 1, 2)]] void print_line(const char* format, ...);

/// The same, unless `chat` is off.
[[gnu::format(printf, 1, 2)]] void print_progress(const char* format, ...);

/// The progress of a walk over many things: a title, and behind it a character for so many of them that a
/// line of `width` is filled at the end. A progress line like any other.
class ProgressLine {
 public:
  ProgressLine(const std::string& title, size_t count, size_t width);
  void one_more();
  void done();

 private:
  size_t step_;
  size_t count_ = 0;
};

}  // namespace quelmo
