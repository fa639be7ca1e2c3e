// make_store DIRECTORY COUNT [SIZE [POINTS [ZONES]]]: fills a directory with 1.msg to COUNT.msg.
//
// SIZE is the length of a message's text in bytes (default 2048), POINTS how many points send and receive
// (every other message then goes to or from one; default 10, 0 for none), ZONES over how many zones the
// senders spread (default 2). Each text has the kludges of netmail, lines of 72 characters and a Via line of
// 2:999/100@testnet as its last, so that a system of this address finds nothing to add. The same arguments
// always make the same bytes.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

struct Plan {
  std::string directory;
  long count = 0;
  size_t size = 2048;
  int points = 10;
  int zones = 2;
};

void put_text(std::string& file, size_t offset, const std::string& text) {
  file.replace(offset, text.size(), text);
}

void put_word(std::string& file, size_t offset, int value) {
  file[offset] = static_cast<char>(value & 0xFF);
  file[offset + 1] = static_cast<char>((value >> 8) & 0xFF);
}

std::string kludges_of(const Plan& plan, long n, int node) {
  const long zone = 1 + n % plan.zones;
  std::string text = "\x01INTL 2:999/" + std::to_string(n % 3 ? 100 : 200) + " " + std::to_string(zone) +
                     ":5020/" + std::to_string(node) + "\r";
  if (plan.points > 0 && n % 2)
    text +=
        "\x01"
        "FMPT " +
        std::to_string(1 + n % plan.points) + "\r";
  if (plan.points > 0 && n % 4 == 0) text += "\x01TOPT " + std::to_string(1 + n % plan.points) + "\r";
  char serial[16];
  std::snprintf(serial, sizeof serial, "%08lx", static_cast<unsigned long>(n * 2654435761 & 0xFFFFFFFF));
  return text + "\x01MSGID: " + std::to_string(zone) + ":5020/" + std::to_string(node) + " " + serial +
         "\r\x01PID: make_store\r";
}

std::string text_of(const Plan& plan, long n, int node) {
  const std::string via = "\x01Via 2:999/100@testnet @20240501.101500.UTC quelmo 1.02/w32 19-01-01\r";
  std::string text = kludges_of(plan, n, node);
  while (text.size() + via.size() < plan.size) {
    const size_t width = std::min<size_t>(72, plan.size - text.size() - via.size());
    text.append(width - 1, static_cast<char>('a' + text.size() % 26));
    text += '\r';
  }
  return text + via;
}

std::string message(const Plan& plan, long n) {
  const int node = static_cast<int>(1 + n % 1000);
  std::string file(190, '\0');
  put_text(file, 0, "Sender " + std::to_string(n % 5000));
  put_text(file, 36, "Reader " + std::to_string(n % 700));
  put_text(file, 72, "Message " + std::to_string(n));
  put_text(file, 144, "01 May 24  10:15:00");
  put_word(file, 166, n % 3 ? 100 : 200);
  put_word(file, 168, node);
  put_word(file, 172, 5020);
  put_word(file, 174, 999);
  put_word(file, 186, 0x0001);
  return file + text_of(plan, n, node) + std::string(1, '\0');
}

bool write_file(const std::string& path, const std::string& bytes) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return false;
  const bool whole = write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  return close(fd) == 0 && whole;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: make_store DIRECTORY COUNT [SIZE [POINTS [ZONES]]]\n", stderr);
    return 2;
  }
  Plan plan{.directory = argv[1], .count = std::atol(argv[2])};
  if (argc > 3) plan.size = static_cast<size_t>(std::atol(argv[3]));
  if (argc > 4) plan.points = std::atoi(argv[4]);
  if (argc > 5) plan.zones = std::max(1, std::atoi(argv[5]));
  std::filesystem::create_directories(plan.directory);
  for (long n = 1; n <= plan.count; ++n) {
    const std::string path = plan.directory + "/" + std::to_string(n) + ".msg";
    if (!write_file(path, message(plan, n))) {
      std::fprintf(stderr, "make_store: writing %s: %s\n", path.c_str(), std::strerror(errno));
      return 1;
    }
  }
  return 0;
}
