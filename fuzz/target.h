// What the fuzz targets share. Each target is a file with LLVMFuzzerTestOneInput; link it with libFuzzer, or
// with driver.cpp, which needs nothing but a compiler.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fuzz {

inline std::string_view as_text(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// What has to hold for every input; ends the process if it doesn't.
inline void check(bool holds, const char* what) {
  if (holds) return;
  std::printf("does not hold: %s\n", what);
  std::fflush(stdout);
  std::abort();
}

/// A new, empty directory that is the working directory from here on.
inline void enter_scratch_directory() {
  std::string name = "/tmp/quelmo-fuzz-XXXXXX";
  check(mkdtemp(name.data()) != nullptr && chdir(name.c_str()) == 0, "there is a scratch directory");
}

}  // namespace fuzz
