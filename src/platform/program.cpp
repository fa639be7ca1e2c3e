#include "platform/program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {
namespace {

// What the child does between fork and exec: only calls that are safe there.
[[noreturn]] void become(const char* program, char* const* argv, const char* directory) {
  for (int number = 1; number < NSIG; number++) ::signal(number, SIG_DFL);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::close_range(3, ~0U, 0);
  // A program that asks a question gets no answer, instead of waiting for one forever.
  int null = ::open("/dev/null", O_RDONLY);
  if (null > 0) {
    ::dup2(null, STDIN_FILENO);
    ::close(null);
  }
  if (directory == nullptr || ::chdir(directory) == 0) ::execv(program, argv);
  ::_exit(127);
}

}  // namespace

std::vector<std::string> split_command(std::string_view command) {
  std::vector<std::string> words;
  std::string word;
  bool in_word = false;
  bool quoted = false;
  for (char c : command) {
    if (c == '"') {
      quoted = !quoted;
      in_word = true;
    } else if (!quoted && (c == ' ' || c == '\t')) {
      if (in_word) words.push_back(std::move(word));
      word.clear();
      in_word = false;
    } else {
      word += c;
      in_word = true;
    }
  }
  if (in_word) words.push_back(std::move(word));
  return words;
}

std::string find_program(std::string_view program) {
  auto plain_file = [](std::string_view path) {
    std::optional<FileInfo> info = file_info(path);
    return info && !info->is_directory;
  };
  if (plain_file(program)) return disk_path(program);
  if (file_part(program).find('.') != std::string_view::npos) return {};
  std::string with_exe = std::string(program) + ".exe";
  return plain_file(with_exe) ? disk_path(with_exe) : std::string();
}

int run_program(std::string_view program, const std::vector<std::string>& arguments,
                std::string_view directory) {
  std::string file = find_program(program);
  if (file.empty()) return -1;
  std::string work_dir = directory.empty() ? std::string() : disk_path(directory);
  std::vector<char*> argv{file.data()};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  pid_t child = ::fork();
  if (child < 0) return -1;
  if (child == 0) become(file.c_str(), argv.data(), work_dir.empty() ? nullptr : work_dir.c_str());
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace quelmo
