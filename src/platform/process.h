// What belongs to the process as a whole and what a script can do to it.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace quelmo {

/// Called once at the start: remembers the process, and puts /dev/null on those of the descriptors 0 to 2
/// that aren't open, so that no file of ours gets one of them.
void begin_process();

/// False in a child that a script forked off: there nothing of the run may be cleaned up.
bool in_first_process();

unsigned process_id();

/// Ends the process at once: nothing is flushed or cleaned up.
[[noreturn]] void leave_process(int code);

/// The state of the process at the time of construction: descriptors 0 to 2, working directory, umask,
/// environment, signal actions and signal mask.
class ProcessState {
 public:
  ProcessState();
  /// Puts it back as it was, and takes a pending alarm away. May be called more than once.
  void restore() const;
  /// The same of the signals alone.
  void restore_signals() const;

 private:
  void restore_environment() const;

  std::array<Fd, 3> standard_;
  Fd directory_;
  mode_t umask_ = 0;
  std::vector<std::string> environment_;
  std::array<struct sigaction, NSIG> actions_{};
  sigset_t mask_{};
};

/// While it lives, stderr goes to `file` (appended), or to /dev/null if that is empty; "-" leaves it alone.
/// If the file can't be opened stderr stays as it was.
class HiddenStderr {
 public:
  explicit HiddenStderr(std::string_view file);
  HiddenStderr(const HiddenStderr&) = delete;
  HiddenStderr& operator=(const HiddenStderr&) = delete;
  ~HiddenStderr();

 private:
  Fd saved_;
};

}  // namespace quelmo
