#include "nodelist/routing.h"

#include <algorithm>

#include "config/areas.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/macros.h"
#include "nodelist/lookup.h"
#include "select/compare.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

// `target` names a region as its net: every address fits that a nodelist lists there.
bool region_fits(const FtnAddr& addr, const FtnAddr& target) {
  log_line(4, "setrouting: region match requested\n");
  uint16_t uplink = 0;
  uint16_t region = 0;
  bool found = find_uplink(addr, uplink, region) != 0;
  bool fits = found && region == target.net;
  if (!log_passes(4)) return fits;
  std::string shown = addr_to_text(addr);
  if (!found) {
    log_line(4, "setrouting: region for %s not found\n", shown.c_str());
    return fits;
  }
  log_line(4, "setrouting: region for %s is %hu\n", shown.c_str(), region);
  if (fits) {
    log_line(4, "setrouting: region matches ok\n");
  } else {
    log_line(4, "setrouting: region doesn't match\n");
  }
  return fits;
}

bool hub_fits(const FtnAddr& addr, const FtnAddr& target) {
  FtnAddr hub = hub_of(addr, target);
  if (log_passes(4)) {
    log_line(4, "setrouting: check if node %s is in hub segment of %s\n", addr_to_text(addr).c_str(),
             addr_to_text(hub).c_str());
  }
  bool fits = in_hub_segment(addr, hub);
  if (fits) {
    log_line(4, "setrouting: check ok\n");
  } else {
    log_line(4, "setrouting: check failed\n");
  }
  return fits;
}

bool target_fits(const FtnAddr& addr, const FtnAddr& target) {
  if (!field_fits(addr.zone, target.zone)) return false;
  bool point_fits = target.point == wild_any || target.point == addr.point;
  if (target.node == wild_hash && point_fits) return region_fits(addr, target);
  if (!field_fits(addr.net, target.net)) return false;
  if (target.point == wild_hash) return hub_fits(addr, target);
  return field_fits(addr.node, target.node) && point_fits;
}

const RoutingRule* first_rule(const std::vector<RoutingRule>& rules, const FtnAddr& addr) {
  for (const RoutingRule& rule : rules) {
    auto fits = [&](const FtnAddr& target) { return target_fits(addr, target); };
    if (std::ranges::any_of(rule.targets, fits)) return &rule;
  }
  return nullptr;
}

uint16_t routed_node(const FtnAddr& addr, uint16_t dest) {
  if (dest == wild_any) return addr.node;
  if (dest != wild_hash) return dest;
  log_line(4, "setrouting: hubrouting requested by `#'\n");
  uint16_t uplink = 0;
  uint16_t region = 0;
  if (find_uplink(addr, uplink, region) == 0) return addr.node;
  log_line(4, "setrouting: uplink found, do hubrouting\n");
  return uplink;
}

FtnAddr routed(const FtnAddr& addr, const FtnAddr& dest) {
  FtnAddr route = addr;
  if (dest.zone != wild_any) route.zone = dest.zone;
  if (dest.net != wild_any) route.net = dest.net;
  if (dest.point != wild_any) route.point = dest.point;
  route.node = routed_node(addr, dest.node);
  return route;
}

void apply_flavors(const std::vector<uint16_t>& flavors, uint16_t& bits) {
  for (uint16_t flavor : flavors) {
    bool off = (flavor & flavor_off) != 0;
    bits = static_cast<uint16_t>(off ? bits & ~flavor : bits | flavor);
  }
}

void test_loop(Msg& msg) {
  uint32_t before = msg.intattr;
  bool loops = za_loop(current.vias, msg.routeto, area_system(CurMsg.tag));
  msg.intattr = loops ? before | int_zaloop : before & ~static_cast<uint32_t>(int_zaloop);
  if (msg.intattr != before) msg.intattr |= int_changed;
}

}  // namespace

void set_route(std::string_view tag, Msg& msg) {
  const Block<RoutingRule>* block = find_block(blocks.routing, tag);
  if (block == nullptr) stop_run("block not defined: `%s'\n", std::string(tag).c_str());
  const RoutingRule* rule = first_rule(block->entries, msg.to);
  msg.routeto = rule != nullptr ? routed(msg.to, rule->dest) : msg.to;
  if (rule != nullptr) apply_flavors(rule->flavors, msg.flavor);
  if (log_passes(2)) {
    std::string to = addr_to_text(msg.to);
    if (rule != nullptr) {
      log_line(2, "setrouting: message to %s routed to %s\n", to.c_str(), addr_to_text(msg.routeto).c_str());
    } else {
      log_line(2, "setrouting: no routing found, do direct routing to %s\n", to.c_str());
    }
  }
  test_loop(msg);
}

void perl_SetRouting(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  std::string tag = expanded_arg(call, 0);
  set_route(trim_spaces(tag), current.hdr);
}

void perl_SetFlavor(ScriptCall& call) {
  if (!message_in_memory(call.label())) return;
  std::string words = expanded_arg(call, 0);
  std::string_view rest = words;
  std::string_view word;
  uint16_t& bits = current.hdr.flavor;
  while (next_word(rest, word)) {
    bool off = word.starts_with('!');
    uint16_t bit = flavor_by_name(off ? word.substr(1) : word);
    if (bit == 0) stop_run("%s unknown flavor: `%s'\n", call.label(), std::string(word).c_str());
    bits = static_cast<uint16_t>(off ? bits & ~bit : bits | bit);
  }
  log_message_once();
  log_line(1, "   Changed Flavour to %s\n", flavor_to_text(bits).c_str());
}

}  // namespace quelmo
