#include "nodelist/lookup.h"

namespace quelmo {

int find_uplink(const FtnAddr& addr, uint16_t& uplink, uint16_t& region) {
  uint16_t zone = 0;
  for (const NodelistBlock& block : blocks.version9) {
    if (is_v9_listed(block, addr, zone, region, uplink)) return 1;
  }
  for (const NodelistBlock& block : blocks.nodelist) {
    if (is_listed(block, addr, uplink, region)) return 1;
  }
  return 0;
}

void free_nodelists() {
  free_ndl();
  free_v9();
}

}  // namespace quelmo
