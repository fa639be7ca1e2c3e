#include "core/log.h"

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "core/stop.h"
#include "core/text.h"
#include "platform/clock.h"
#include "platform/path.h"
#include "platform/signals.h"

namespace quelmo {
namespace {

bool fits(const std::vector<LogPattern>& patterns, std::string_view text) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const LogPattern& pattern) {
    return pattern.regex ? pattern.regex.matches(text) : text.find(pattern.text) != std::string_view::npos;
  });
}

bool wanted(int level, std::string_view text) {
  if (!run.lock_fd || run.log_name.empty()) return false;
  if (level > config.debug_level && !fits(config.log_include, text)) return false;
  return config.log_exclude.empty() || !fits(config.log_exclude, text);
}

Fd open_log() {
  if (!is_absolute(run.log_name) && !run.QuelmoPath.empty()) {
    Fd fd = open_file(run.QuelmoPath.str() + run.log_name, Open::append);
    if (fd) return fd;
  }
  return open_file(run.log_name, Open::append);
}

std::string clock_digits() {
  std::tm now = local_time();
  return format_text("%02d:%02d:%02d  ", now.tm_hour, now.tm_min, now.tm_sec);
}

void write_line(int level, std::string line) {
  Fd log = open_log();
  if (!log) return;
  line.insert(0, clock_digits());
  // The stop is made at the next safe point: here it would come between a copy and the removal of what was
  // copied. While the run is ending there is nothing left to stop.
  if (!write_all(log, line) && !run.ending && noted_signal() == 0) {
    write_stderr("\afatal: can't write logfile\n");
    request_stop();
  }
  constexpr int echoed_above = 5;
  if (level > echoed_above) ::write(STDERR_FILENO, line.data(), line.size());
}

void end_line(std::string& line, std::string_view format) {
  if (format.empty() || format.back() != '\n') line += '\n';
}

}  // namespace

void log_line(int level, const char* format, ...) {
  if (!log_passes(level) || !wanted(level, format)) return;
  va_list args;
  va_start(args, format);
  std::string line = format_arguments(format, args);
  va_end(args);
  end_line(line, format);
  write_line(level, std::move(line));
}

void log_text(int level, std::string_view text) {
  if (!log_passes(level) || !wanted(level, text)) return;
  std::string line(text);
  end_line(line, text);
  write_line(level, std::move(line));
}

void write_log_header() {
  if (run.log_name.empty()) return;
  Fd log = open_file(run.log_name, Open::append);
  if (!log) return;
  std::tm now = local_time();
  char today[64];
  std::strftime(today, sizeof today, "%a %d %b %y", &now);
  write_all(log, format_text("--------  %s, %s %s %s\n", today, program_name, version_string, ""));
}

void write_log_footer() {
  if (!run.lock_fd || run.log_name.empty()) return;
  Fd log = open_file(run.log_name, Open::append);
  if (!log) return;
  auto seconds = static_cast<long>(std::time(nullptr) - run.start_time);
  write_all(log, clock_digits() + format_text("Runtime: %ld Seconds - Messages  Read : %u  Written : %u\n\n",
                                              seconds, run.msgs_read, run.msgs_written));
  run.log_name.clear();
}

}  // namespace quelmo
