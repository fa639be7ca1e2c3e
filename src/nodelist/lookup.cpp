#include "nodelist/lookup.h"

#include "core/log.h"

namespace quelmo {
namespace {

constexpr uint16_t not_listed = 0xFFFF;

}  // namespace

bool is_listed(const NodelistBlock& block, const FtnAddr& addr, uint16_t& uplink, uint16_t& region) {
  if (log_passes(4)) {
    log_line(4, "is_listed: nodelist look-up for address: %s\n", addr_to_text(addr).c_str());
    log_line(4, "is_listed: current nodelist block name: %s\n", block.tag.c_str());
  }
  if (!block.active) return false;
  uplink = not_listed;
  region = 0;
  log_line(4, "is_listed: done scanning all nodelists\n");
  return uplink != not_listed;
}

bool is_v9_listed(const NodelistBlock& block, const FtnAddr&, uint16_t& zone, uint16_t& region,
                  uint16_t& uplink) {
  if (!block.active) {
    log_line(4, "v9 nodelist `%s' is inactive, ignored\n", block.tag.c_str());
    return false;
  }
  zone = region = uplink = 0;
  log_line(4, "v9 search failed\n");
  return false;
}

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

}  // namespace quelmo
