// quelmo-base: lists a message base, or says what is wrong with it. For a sysop's eye, and for tests.

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "bases/base_ops.h"
#include "bases/dates.h"
#include "bases/look.h"
#include "core/stop.h"
#include "platform/path.h"

namespace {

using namespace quelmo;

constexpr char usage[] =
    "Usage: quelmo-base KIND PATH\n"
    "       quelmo-base --check KIND PATH\n\n"
    "KIND is msg, squish or jam; PATH is the directory of *.MSG files, or the name of a base without "
    "extension.\n"
    "Lists the messages of the base; with --check, says what is wrong with it and where.\n"
    "Exit code 0: all is well; 1: the check has found faults; 2: the base can't be read.\n";

enum ExitCode { whole = 0, faulty = 1, unreadable = 2 };

struct Kind {
  const char* word;
  AreaType type;
};
constexpr Kind kinds[] = {{"msg", area_fido}, {"squish", area_squish}, {"jam", area_jam}};

const BaseOps* ops_of(const char* word) {
  for (const Kind& kind : kinds) {
    if (std::strcmp(word, kind.word) == 0) return &base_ops(kind.type);
  }
  return nullptr;
}

ExitCode look_at_base(int argc, char** argv) {
  Look look;
  look.check = argc > 1 && std::strcmp(argv[1], "--check") == 0;
  int first = look.check ? 2 : 1;
  if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
    std::fputs(usage, stdout);
    return whole;
  }
  const BaseOps* ops = argc == first + 2 ? ops_of(argv[first]) : nullptr;
  if (ops == nullptr) {
    std::fputs(usage, stderr);
    return unreadable;
  }
  if (!ops->look(argv[first + 1], look)) return unreadable;
  return look.faults == 0 ? whole : faulty;
}

}  // namespace

int main(int argc, char** argv) {
  set_start_directory();
  set_time_zone();
  try {
    return look_at_base(argc, argv);
  } catch (const Stop&) {
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quelmo-base: %s\n", error.what());
  }
  return unreadable;
}
