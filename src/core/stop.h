// The one way out of a fault that the run can't go on after: a message, and a `Stop` that unwinds to the door
// through which scripts call in, or to `main`. There the orderly stop is made (config/lifecycle.h): pending
// message saved, area closed, footer written, lock removed, exit code 1.
#pragma once

#include <string_view>

namespace quelmo {

/// The program's one exception.
struct Stop {};

/// Writes the message to stderr as it is formatted (a bell, where there is one, stands in `format`), and
/// throws.
[[noreturn, gnu::format(printf, 1, 2)]] void stop_run(const char* format, ...);

/// The message behind a bell on stderr, and without the bell in the log at level 0; then throws.
[[noreturn, gnu::format(printf, 1, 2)]] void stop_run_logged(const char* format, ...);

/// The same without the throw.
[[gnu::format(printf, 1, 2)]] void report_logged(const char* format, ...);

/// A safe point: throws `Stop` if a signal has asked for one and the run isn't ending already.
void check_signals();

/// Writes to stderr, unbuffered, behind what stdio holds.
void write_stderr(std::string_view text);

/// The system's text for errno, in the form of perror(3): "what: reason".
void report_errno(std::string_view what);

}  // namespace quelmo
