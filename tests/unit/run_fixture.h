// A run for a test: a fresh configuration, an empty message in memory, a directory and a log of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "config/tags.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "message/current.h"
#include "select/data_blocks.h"
#include "select/data_types.h"

namespace quelmo {

class RunTest : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/quelmo-test-XXXXXX";
    dir = std::string(::mkdtemp(name)) + "/";
    blocks = DataBlocks();
    free_tags();
    config = Config();
    current = CurrentMessage();
    CurMsg = CurrentArea();
    CurMsg.msgno = 1;
    run = quelmo::Run();
    run.log_name = dir + "log";
    run.lock_fd = open_file(dir + "lock", Open::create);
  }
  void TearDown() override {
    run = quelmo::Run();
    config = Config();
    std::filesystem::remove_all(dir);
  }

  void touch(const std::string& name) const { std::ofstream(dir + name) << "x"; }

  /// The lines logged so far, without their times.
  std::string log() const {
    std::ifstream in(dir + "log");
    std::string lines;
    for (std::string line; std::getline(in, line);) lines += line.substr(10) + "\n";
    return lines;
  }

  /// One line of a data block, as the configuration reader hands it over.
  static void define(const char* type, const std::string& tag, const std::string& line) {
    data_types()[static_cast<size_t>(data_type_id(type))].handler(tag, line, "cfg -- line #1,");
  }

  std::string dir;  ///< absolute, with a closing separator
};

/// What `action` writes to stderr when it stops the run; "(no stop)" if it doesn't.
template <class Action>
std::string stop_message(Action action) {
  testing::internal::CaptureStderr();
  bool stopped = false;
  try {
    action();
  } catch (const Stop&) {
    stopped = true;
  }
  std::string message = testing::internal::GetCapturedStderr();
  return stopped ? message : "(no stop)";
}

inline FtnAddr address(std::string_view text) {
  FtnAddr addr;
  EXPECT_EQ(addr_parse_wild(text, addr), 1) << text;
  return addr;
}

}  // namespace quelmo
