// bench_squish_pack BASE: packs a Squish base, as a step of squish.pl.

#include <cstdio>

#include "bases/squish_pack.h"
#include "core/run_state.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: bench_squish_pack BASE\n", stderr);
    return 2;
  }
  quelmo::config.chat = false;
  quelmo::Area area;
  area.type = quelmo::area_squish;
  area.path = argv[1];
  return quelmo::sqpack(area) == 1 ? 0 : 1;
}
