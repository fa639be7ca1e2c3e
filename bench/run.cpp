// bench_run PROGRAM MAKE_STORE PLAIN_READ [COUNT...]: measures whole runs of the program over generated
// areas.
//
// For each COUNT (10000 and 100000 by default): a pass that reads every message and asks Select twice, beside
// a plain read of the same files; the two take turns and the best of ROUNDS counts. Then: routing and moving
// messages to another area, for growing numbers, which has to stay at the same time for each message. Times
// are those of whole processes, so the start of the program, its interpreter and its configuration are in
// them.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "measure.h"

namespace {

using namespace bench;
constexpr int ROUNDS = 7;

struct Tools {
  std::string program;
  std::string make_store;
  std::string plain_read;
  fs::path home;
};

void write_home(const Tools& tools) {
  std::string config =
      "MAINADDRESS 2:999/100@testnet\nCHAT OFF\nFIDOAREA NETMAIL NETMAIL\nFIDOAREA OUT OUT\nDATA ADDRESS "
      "ADDRS\n";
  for (int i = 0; i < 20; ++i)
    config += "7:" + std::to_string(100 + i) + "/" + (i % 2 ? "*.*" : std::to_string(i)) + "\n";
  config += "#END#\nDATA NAME NAMES\nAreaFix\nFileFix\nPing\nAllFix\nSysop\n#END#\n";
  config += "DATA ROUTING ROUTES\nCRASH 2:5020/1 2:5020/*.*\n2:*/* 2:*/*.*\n1:1/1 1:*/*.*\n#END#\n";
  spew(tools.home / "quelmo.cfg", config);
  spew(tools.home / "pass.pl",
       "sub pass { my $hits = 0; Scan('NETMAIL'); while (ReadMsg()) { $hits++ if Select('ADDRS'); $hits++ if "
       "Select('NAMES') } }\n1;\n");
  spew(tools.home / "move.pl",
       "sub move { Scan('NETMAIL'); while (ReadMsg()) { SetRouting('ROUTES'); Move('OUT') } }\n1;\n");
}

void fill(const Tools& tools, long count) {
  fs::remove_all(tools.home / "NETMAIL");
  fs::remove_all(tools.home / "OUT");
  fs::create_directories(tools.home / "OUT");
  run({tools.make_store, (tools.home / "NETMAIL").string(), std::to_string(count)}, tools.home);
  sync();  // what making the area left to be written isn't ours to pay for
}

void measure_pass(const Tools& tools, long count) {
  fill(tools, count);
  Cost plain{1e9, 0};
  Cost ours{1e9, 0};
  for (int round = 0; round < ROUNDS; ++round) {
    plain = better(plain, run({tools.plain_read, (tools.home / "NETMAIL").string()}, tools.home));
    ours = better(ours, run({tools.program, "pass"}, tools.home));
  }
  std::printf("pass  %8ld messages: %9.0f /s, peak %6ld kB | plain read %9.0f /s | ratio %.2f\n", count,
              static_cast<double>(count) / ours.seconds, ours.peak_kb,
              static_cast<double>(count) / plain.seconds, ours.seconds / plain.seconds);
  std::fflush(stdout);
}

void measure_move(const Tools& tools, long count) {
  Cost best{1e9, 0};
  for (int round = 0; round < 3; ++round) {
    fill(tools, count);
    best = better(best, run({tools.program, "move"}, tools.home));
  }
  std::printf("move  %8ld messages: %9.0f /s, peak %6ld kB | %.1f us each\n", count,
              static_cast<double>(count) / best.seconds, best.peak_kb,
              best.seconds * 1e6 / static_cast<double>(count));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fputs("usage: bench_run PROGRAM MAKE_STORE PLAIN_READ [COUNT...]\n", stderr);
    return 2;
  }
  std::string home = (scratch_place() / "quelmo-bench-XXXXXX").string();
  if (!mkdtemp(home.data())) {
    std::perror(home.c_str());
    return 1;
  }
  const Tools tools{fs::absolute(argv[1]), fs::absolute(argv[2]), fs::absolute(argv[3]), home};
  std::vector<long> counts;
  for (int i = 4; i < argc; ++i) counts.push_back(std::atol(argv[i]));
  if (counts.empty()) counts = {10000, 100000};
  write_home(tools);
  for (const long count : counts) measure_pass(tools, count);
  for (const long count : {5000L, 10000L, 20000L}) measure_move(tools, count);
  fs::remove_all(tools.home);
  return 0;
}
