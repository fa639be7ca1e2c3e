#include "platform/process.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace quelmo {
namespace {

constexpr char null_device[] = "/dev/null";
pid_t first_process = 0;

Fd duplicate(int fd) {
  return Fd(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

std::vector<std::string> current_environment() {
  std::vector<std::string> entries;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; entry++) entries.emplace_back(*entry);
  return entries;
}

}  // namespace

void begin_process() {
  first_process = ::getpid();
  // open() takes the lowest free number.
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
    if (::fcntl(fd, F_GETFD) == -1 && errno == EBADF && ::open(null_device, O_RDWR) < 0) return;
  }
}

bool in_first_process() {
  return ::getpid() == first_process;
}

unsigned process_id() {
  return static_cast<unsigned>(::getpid());
}

void leave_process(int code) {
  ::_exit(code);
}

ProcessState::ProcessState() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) standard_[static_cast<size_t>(fd)] = duplicate(fd);
  directory_ = Fd(::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  umask_ = ::umask(0);
  ::umask(umask_);
  environment_ = current_environment();
  for (int number = 1; number < NSIG; number++) {
    ::sigaction(number, nullptr, &actions_[static_cast<size_t>(number)]);
  }
  ::sigprocmask(SIG_SETMASK, nullptr, &mask_);
}

void ProcessState::restore_signals() const {
  ::alarm(0);
  for (int number = 1; number < NSIG; number++) {
    ::sigaction(number, &actions_[static_cast<size_t>(number)], nullptr);
  }
  ::sigprocmask(SIG_SETMASK, &mask_, nullptr);
}

void ProcessState::restore() const {
  restore_signals();
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
    const Fd& saved = standard_[static_cast<size_t>(fd)];
    if (saved) ::dup2(saved.get(), fd);
  }
  if (directory_ && ::fchdir(directory_.get()) != 0) errno = 0;
  ::umask(umask_);
  restore_environment();
}

void ProcessState::restore_environment() const {
  if (current_environment() == environment_) return;
  ::clearenv();
  for (const std::string& entry : environment_) {
    size_t equals = entry.find('=');
    if (equals == std::string::npos) continue;
    ::setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
  }
}

HiddenStderr::HiddenStderr(std::string_view file) {
  if (file == "-") return;
  Fd fresh = file.empty() ? Fd(::open(null_device, O_WRONLY | O_CLOEXEC)) : open_file(file, Open::append);
  if (!fresh) return;
  saved_ = duplicate(STDERR_FILENO);
  if (saved_) ::dup2(fresh.get(), STDERR_FILENO);
}

HiddenStderr::~HiddenStderr() {
  if (saved_) ::dup2(saved_.get(), STDERR_FILENO);
}

}  // namespace quelmo
