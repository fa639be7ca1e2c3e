// bench_jam PROGRAM [COUNT...]: measures runs of the program over JAM bases of 2 KB messages.
//
// For each COUNT (10000 and 100000 by default): a pass that reads every message and asks Select once, in turn
// with `cat` of the base's files; the best of ROUNDS counts. Then, for the largest: adding 10,000 messages to
// an empty base and to this one, killing every tenth message, and the pack of what is left against a copy of
// the files that is flushed.

#include "measure.h"

#include "bases/jam_pack.h"
#include "bases/jam_records.h"
#include "core/run_state.h"
#include "platform/path.h"

namespace {

using namespace bench;

constexpr int ROUNDS = 7;
constexpr size_t text_size = 1750;
constexpr long added = 10000;
constexpr const char* extensions[] = {".jhr", ".jdt", ".jdx", ".jlr"};

void put_subfield(std::string& block, uint16_t id, const std::string& value) {
  const quelmo::JamSubfield head = {.LoID = id, .DatLen = static_cast<uint32_t>(value.size())};
  block += quelmo::jam_encode(head) + value;
}

std::string subfields_of(long n) {
  const std::string node = "2:5020/" + std::to_string(1 + n % 1000);
  char serial[16];
  std::snprintf(serial, sizeof serial, " %08lx", static_cast<unsigned long>(n * 2654435761 & 0xFFFFFFFF));
  std::string block;
  put_subfield(block, 0, node);
  put_subfield(block, 1, "2:999/100");
  put_subfield(block, 2, "Sender " + std::to_string(n % 5000));
  put_subfield(block, 3, "Reader " + std::to_string(n % 700));
  put_subfield(block, 6, "Message " + std::to_string(n));
  put_subfield(block, 4, node + serial);
  put_subfield(block, 7, "bench");
  put_subfield(block, 2000, "CHRS: CP866 2");
  put_subfield(block, 2000, "Via 2:999/100@testnet @20240501.101500.UTC quelmo 1.02/w32 19-01-01");
  return block;
}

void make_base(const fs::path& path, long count) {
  for (const char* extension : extensions) fs::remove(path.string() + extension);
  std::ofstream jhr(path.string() + ".jhr", std::ios::binary);
  std::ofstream jdt(path.string() + ".jdt", std::ios::binary);
  std::ofstream jdx(path.string() + ".jdx", std::ios::binary);
  std::ofstream(path.string() + ".jlr");
  std::string head = quelmo::jam_encode(quelmo::JAMHDRINFO{.Signature = quelmo::jam_signature,
                                                           .DateCreated = 1,
                                                           .ModCounter = 1,
                                                           .ActiveMsgs = static_cast<uint32_t>(count)});
  head.resize(quelmo::jam_info_size, '\0');
  jhr << head;
  std::string text;
  while (text.size() < text_size) text += std::string(70, static_cast<char>('a' + text.size() % 26)) + '\r';
  size_t at = head.size();
  for (long n = 1; n <= count; n++) {
    const std::string block = subfields_of(n);
    quelmo::JAMHDR hdr = {.Signature = quelmo::jam_signature, .Revision = quelmo::jam_revision};
    hdr.SubfieldLen = static_cast<uint32_t>(block.size());
    hdr.MsgNum = static_cast<uint32_t>(n);
    hdr.Attribute = quelmo::jam_netmail;
    hdr.TxtOffset = static_cast<uint32_t>(static_cast<size_t>(n - 1) * text.size());
    hdr.TxtLen = static_cast<uint32_t>(text.size());
    jdx << quelmo::jam_encode(quelmo::JAMIDX{.UserCRC = 1, .HdrOffset = static_cast<uint32_t>(at)});
    jhr << quelmo::jam_encode(hdr) << block;
    jdt << text;
    at += quelmo::jam_header_size + block.size();
  }
}

void write_home(const fs::path& home) {
  std::string config = "MAINADDRESS 2:999/100@testnet\nCHAT OFF\nDATA ADDRESS ADDRS\n";
  for (int i = 0; i < 20; ++i) config += "7:" + std::to_string(100 + i) + "/" + (i % 2 ? "*.*" : "1") + "\n";
  config += "#END#\nJAMAREA base BASE\nJAMAREA source SOURCE\nJAMAREA empty EMPTY\n";
  spew(home / "quelmo.cfg", config);
  const std::string loop = "while (ReadMsg()) ";
  spew(home / "pass.pl", "sub pass { Scan('BASE'); " + loop + "{ $hits++ if Select('ADDRS') } }\n1;\n");
  for (const char* target : {"base", "empty"}) {
    spew(home / (std::string("to") + target + ".pl"), "sub to" + std::string(target) + " { Scan('SOURCE'); " +
                                                          loop + "{ CopyArea('" + target + "') } }\n1;\n");
  }
  spew(home / "kill.pl", "sub kill { Scan('BASE'); " + loop + "{ Kill() if ++$n % 10 == 0 } }\n1;\n");
  spew(home / "source.pl", "sub source { Scan('SOURCE'); " + loop + "{} }\n1;\n");
}

double since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double flushed_copy(const fs::path& home) {
  const auto start = std::chrono::steady_clock::now();
  for (const char* extension : {".jhr", ".jdt", ".jdx"}) {
    const std::string from = (home / "base").string() + extension;
    fs::copy_file(from, from + ".copy", fs::copy_options::overwrite_existing);
    const int fd = open((from + ".copy").c_str(), O_WRONLY);
    fsync(fd);
    close(fd);
  }
  const double seconds = since(start);
  for (const char* extension : {".jhr", ".jdt", ".jdx"})
    fs::remove((home / "base").string() + extension + ".copy");
  return seconds;
}

double measure_pass(const std::string& program, const fs::path& home, long count) {
  make_base(home / "base", count);
  const std::string base = (home / "base").string();
  Cost plain{1e9, 0};
  Cost ours{1e9, 0};
  for (int round = 0; round < ROUNDS; ++round) {
    plain = better(plain, run({"/bin/cat", base + ".jhr", base + ".jdt", base + ".jdx"}, home));
    ours = better(ours, run({program, "pass"}, home));
  }
  const double goal = 3 * plain.seconds + 1e-6 * static_cast<double>(count);
  std::printf("pass  %8ld messages: %9.0f /s, %.3f s, peak %6ld kB | cat %.3f s, 3 cat + 1 us each %.3f s\n",
              count, static_cast<double>(count) / ours.seconds, ours.seconds, ours.peak_kb, plain.seconds,
              goal);
  std::fflush(stdout);
  return ours.seconds;
}

void measure_adds(const std::string& program, const fs::path& home) {
  make_base(home / "source", added);
  Cost read{1e9, 0};
  Cost empty{1e9, 0};
  Cost full{1e9, 0};
  for (int round = 0; round < 3; ++round) {
    make_base(home / "empty", 0);
    read = better(read, run({program, "source"}, home));
    empty = better(empty, run({program, "toempty"}, home));
    full = better(full, run({program, "tobase"}, home));
  }
  std::printf(
      "add   %8ld messages: %.1f us each to an empty base, %.1f us to the large one, less the reading\n",
      added, (empty.seconds - read.seconds) * 1e6 / added, (full.seconds - read.seconds) * 1e6 / added);
  std::fflush(stdout);
}

void measure_kill_and_pack(const std::string& program, const fs::path& home, long count, double pass) {
  make_base(home / "base", count);
  const Cost kill = run({program, "kill"}, home);
  std::printf("kill  every tenth of %ld: %.3f s, %.2f passes\n", count, kill.seconds, kill.seconds / pass);
  sync();
  const double copy = flushed_copy(home);
  quelmo::config.chat = false;
  quelmo::Area area;
  area.type = quelmo::area_jam;
  area.path = (home / "base").string();
  const auto start = std::chrono::steady_clock::now();
  const int packed = quelmo::jam_pack(area);
  const double seconds = since(start);
  std::printf("pack  %s: %.3f s | flushed copy %.3f s | ratio %.2f\n", packed ? "done" : "FAILED", seconds,
              copy, seconds / copy);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("usage: bench_jam PROGRAM [COUNT...]\n", stderr);
    return 2;
  }
  std::string home = (scratch_place() / "quelmo-bench-XXXXXX").string();
  if (!mkdtemp(home.data())) {
    std::perror(home.c_str());
    return 1;
  }
  const std::string program = fs::absolute(argv[1]);
  std::vector<long> counts;
  for (int i = 2; i < argc; ++i) counts.push_back(std::atol(argv[i]));
  if (counts.empty()) counts = {10000, 100000};
  write_home(home);
  double pass = 0;
  for (const long count : counts) pass = measure_pass(program, home, count);
  measure_adds(program, home);
  measure_kill_and_pack(program, home, counts.back(), pass);
  fs::remove_all(home);
  return 0;
}
