// What the program itself says on stdout: progress lines, which `chat` switches off, and the few texts that
// stand whatever it says.
#pragma once

namespace quelmo {

/// Written at once, so that it keeps its place among what scripts print.
[[gnu::format(printf, 1, 2)]] void print_line(const char* format, ...);

/// The same, unless `chat` is off.
[[gnu::format(printf, 1, 2)]] void print_progress(const char* format, ...);

}  // namespace quelmo
