// The log: one text file, opened and closed for each line, so that a crash loses nothing and other programs
// may read or rotate it between lines. Level 0 is what an operator must see, 1 the lines about messages, 2 to
// 5 traces of rising detail, 6 is echoed on stderr as well. Nothing is written before the run holds its lock.
#pragma once

#include <string_view>

#include "core/run_state.h"

namespace quelmo {

/// True if a line of this level might be written: the test to make before work is done for a line.
inline bool log_passes(int level) {
  return run.lock_fd && (level <= config.debug_level || !config.log_include.empty());
}

/// Writes a line if its level is at most `debug_level` or LOGINCLUDE names it, and LOGEXCLUDE doesn't; both
/// are compared with `format`. A newline is added if `format` doesn't end in one.
[[gnu::format(printf, 2, 3)]] void log_line(int level, const char* format, ...);

/// The same for a finished text, compared and written as it stands.
void log_text(int level, std::string_view text);

/// "--------  date, program version" ahead of a run's lines, in the file `log_name` itself.
void write_log_header();

/// Run time and counters behind a run's lines; ends logging, as it forgets the log's name. Nothing without
/// the lock.
void write_log_footer();

}  // namespace quelmo
