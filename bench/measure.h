// What the benchmarks share: running a command and measuring it, and a place for their stores.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace bench {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

struct Cost {
  double seconds = 0;
  long peak_kb = 0;
};

// Runs a command in a directory with its output dropped; stops the benchmark when it fails.
inline Cost run(const Words& words, const fs::path& directory) {
  std::vector<char*> argv;
  for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    setenv("QUELMO", directory.c_str(), 1);
    setenv("TZ", "UTC", 1);
    if (chdir(directory.c_str()) == 0) execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (pid < 0 || wait4(pid, &status, 0, &usage) < 0 || status != 0) {
    std::fprintf(stderr, "bench_run: %s failed (status %d)\n", words[0].c_str(), status);
    std::exit(1);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  return {took.count(), usage.ru_maxrss};
}

// TMPDIR, else a memory file system with enough room, so that the program is measured and not the disk, else
// /tmp.
inline fs::path scratch_place() {
  std::error_code error;
  if (!std::getenv("TMPDIR") && fs::space("/dev/shm", error).available > (2UL << 30) && !error)
    return "/dev/shm";
  return fs::temp_directory_path();
}

inline void spew(const fs::path& path, const std::string& text) {
  std::ofstream(path) << text;
}

inline Cost better(const Cost& a, const Cost& b) {
  return {std::min(a.seconds, b.seconds), std::max(a.peak_kb, b.peak_kb)};
}

}  // namespace bench
