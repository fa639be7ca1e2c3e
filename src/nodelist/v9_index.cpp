#include "nodelist/v9_index.h"

#include <algorithm>
#include <tuple>

#include "core/log.h"
#include "nodelist/file_cache.h"

namespace quelmo {
namespace {

FileCache<V9Index> indexes;

bool before(const V9Net& a, const V9Net& b) {
  return std::tie(a.net, a.zone) < std::tie(b.net, b.zone);
}

// The node in one net; false if it isn't there.
bool search_net(const V9Index& index, const V9Net& net, uint16_t node, uint16_t& uplink) {
  auto first = index.nodes.begin() + net.first;
  auto last = first + net.node_count;
  auto found =
      std::lower_bound(first, last, node, [](const V9Node& a, uint16_t number) { return a.node < number; });
  if (found == last || found->node != node) return false;
  uplink = 0;
  size_t place = static_cast<size_t>(last - index.nodes.begin()) + found->hub - 1;
  if (found->hub != 0 && place < index.nodes.size()) uplink = index.nodes[place].node;
  return true;
}

}  // namespace

int v9_search(const V9Index& index, uint16_t zone, uint16_t net, uint16_t node, uint16_t& out_zone,
              uint16_t& out_region, uint16_t& out_uplink) {
  constexpr int no_net = -1;
  constexpr int no_node = -2;
  if (!index.valid || net == 0) return no_net;
  V9Net wanted = {.net = net, .zone = zone};
  auto first = std::lower_bound(index.nets.begin(), index.nets.end(), wanted, before);
  auto fits = [&](auto candidate) {
    return candidate != index.nets.end() && candidate->net == net && (zone == 0 || candidate->zone == zone);
  };
  if (!fits(first)) return no_net;
  bool many = fits(first + 1);
  for (auto candidate = first; fits(candidate); ++candidate) {
    if (!search_net(index, *candidate, node, out_uplink)) continue;
    out_zone = candidate->zone;
    out_region = candidate->region;
    return many ? 1 : 0;
  }
  return no_node;
}

bool is_v9_listed(const NodelistBlock& block, const FtnAddr& addr, uint16_t& zone, uint16_t& region,
                  uint16_t& uplink) {
  if (!block.active) {
    log_line(4, "v9 nodelist `%s' is inactive, ignored\n", block.tag.c_str());
    return false;
  }
  for (const NodelistEntry& entry : block.entries) {
    std::string path = entry.path.str() + v9_kind.index + entry.ext.str();
    const V9Index* index = indexes.get(path, v9_decode);
    if (index == nullptr || !index->valid) {
      log_line(0, "is_v9_listed: error opening v9 nodelist:`%s'\n", path.c_str());
      return false;
    }
    if (v9_search(*index, addr.zone, addr.net, addr.node, zone, region, uplink) >= 0) {
      log_line(4, "v9 search ok\n");
      return true;
    }
    log_line(4, "v9 search failed\n");
  }
  return false;
}

void free_v9() {
  indexes.clear();
}

}  // namespace quelmo
