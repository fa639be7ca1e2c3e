#include "core/stop.h"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <string>

#include "core/log.h"
#include "core/text.h"
#include "platform/signals.h"

namespace quelmo {
namespace {

void say_and_log(const std::string& message) {
  write_stderr("\a" + message);
  log_text(0, message);
}

}  // namespace

void stop_run(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string message = format_arguments(format, args);
  va_end(args);
  write_stderr(message);
  throw Stop();
}

void stop_run_logged(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string message = format_arguments(format, args);
  va_end(args);
  say_and_log(message);
  throw Stop();
}

void report_logged(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string message = format_arguments(format, args);
  va_end(args);
  say_and_log(message);
}

void check_signals() {
  if (noted_signal() != 0 && !run.ending) throw Stop();
}

void write_stderr(std::string_view text) {
  while (!text.empty()) {
    ssize_t n = ::write(STDERR_FILENO, text.data(), text.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    text.remove_prefix(static_cast<size_t>(n));
  }
}

void report_errno(std::string_view what) {
  std::string reason = system_error(errno);
  write_stderr(std::string(what) + ": " + reason + "\n");
}

}  // namespace quelmo
