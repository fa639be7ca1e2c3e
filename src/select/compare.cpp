#include "select/compare.h"

#include <algorithm>

#include "core/log.h"
#include "nodelist/lookup.h"
#include "platform/bytes_case.h"

namespace quelmo {
namespace {

// Kept out of the comparison of two addresses, which runs for each line of each block.
[[gnu::noinline]] bool hub_segment_fits(const FtnAddr& addr, const FtnAddr& pattern) {
  FtnAddr hub = hub_of(addr, pattern);
  if (log_passes(5)) {
    log_line(5, "comp_aadrs: check if node %s is in hub segment of %s\n", addr_to_text(addr).c_str(),
             addr_to_text(hub).c_str());
  }
  bool fits = in_hub_segment(addr, hub);
  if (fits) {
    log_line(5, "comp_aadrs: addrs match ok\n");
  } else {
    log_line(5, "comp_aadrs: addrs don`t match\n");
  }
  return fits;
}

// Listed under no hub in the section of a region, or of a zone, which is what VERSION9 blocks alone can tell.
bool in_root(const FtnAddr& addr, bool of_zone) {
  return std::ranges::any_of(blocks.version9, [&](const NodelistBlock& block) {
    uint16_t zone = 0;
    uint16_t region = 0;
    uint16_t uplink = 0;
    return is_v9_listed(block, addr, zone, region, uplink) && uplink == 0 && region == addr.net &&
           (!of_zone || zone == addr.net);
  });
}

}  // namespace

bool comp_aadrs(const FtnAddr& addr, const FtnAddr& pattern, bool any_point) {
  if (!field_fits(addr.zone, pattern.zone)) return false;
  if (pattern.net == wild_hash) return in_zone_root(addr);
  if (!field_fits(addr.net, pattern.net)) return false;
  if (pattern.node == wild_hash) return in_region_root(addr);
  uint16_t point = any_point ? wild_any : pattern.point;
  if (point == wild_hash) return hub_segment_fits(addr, pattern);
  return field_fits(addr.node, pattern.node) && (point == wild_any || point == addr.point);
}

bool comp_str(std::string_view text, std::string_view pattern, bool relaxed) {
  if (!relaxed) return text == pattern;
  constexpr size_t counted = 255;
  text = text.substr(0, counted);
  pattern = pattern.substr(0, counted);
  auto same = [](char a, char b) { return lower_byte(a) == lower_byte(b); };
  return pattern.empty() ||
         std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), same) != text.end();
}

FtnAddr hub_of(const FtnAddr& addr, const FtnAddr& pattern) {
  FtnAddr hub;
  hub.zone = is_wildcard(pattern.zone) ? addr.zone : pattern.zone;
  hub.net = is_wildcard(pattern.net) ? addr.net : pattern.net;
  hub.node = is_wildcard(pattern.node) ? addr.node : pattern.node;
  return hub;
}

bool in_hub_segment(const FtnAddr& addr, const FtnAddr& hub) {
  if (addr.zone != hub.zone || addr.net != hub.net) return false;
  uint16_t zone = 0;
  uint16_t region = 0;
  uint16_t uplink = 0;
  for (const NodelistBlock& block : blocks.version9) {
    if (is_v9_listed(block, addr, zone, region, uplink) && uplink == hub.node) return true;
  }
  for (const NodelistBlock& block : blocks.nodelist) {
    if (is_listed(block, addr, uplink, region) && uplink == hub.node) return true;
  }
  return false;
}

bool in_region_root(const FtnAddr& addr) {
  return in_root(addr, false);
}

bool in_zone_root(const FtnAddr& addr) {
  return in_root(addr, true);
}

}  // namespace quelmo
