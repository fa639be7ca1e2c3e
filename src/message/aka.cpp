#include "message/aka.h"

#include <algorithm>

#include "bases/dates.h"
#include "core/log.h"
#include "core/text.h"
#include "message/text_edit.h"
#include "platform/clock.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

bool serves_zone(const SystemEntry& entry, uint16_t zone) {
  if (log_passes(5)) {
    for (uint16_t served : entry.zones) {
      log_line(5, "match_aka: next system zone: %d, compare to address zone: %d\n", served, zone);
    }
  }
  return std::find(entry.zones.begin(), entry.zones.end(), zone) != entry.zones.end();
}

const SystemEntry* best_entry(const std::vector<SystemEntry>& entries, const FtnAddr& addr) {
  const SystemEntry* best = nullptr;
  int best_score = 0;
  for (size_t i = 0; i < entries.size(); i++) {
    const SystemEntry& entry = entries[i];
    if (log_passes(5)) {
      log_line(5, "match_aka: seeking match for line %d (address: `%s', domain:`%s')\n",
               static_cast<int>(i) + 1, addr_to_text(entry.address).c_str(), entry.domain.c_str());
    }
    if (!serves_zone(entry, addr.zone)) continue;
    log_line(5, "match_aka: zones match ok (zone:%d, domain:`%s')\n", addr.zone, entry.domain.c_str());
    int score = addr_match_depth(addr, entry.address);
    if (score <= best_score) continue;
    best = &entry;
    best_score = score;
  }
  return best;
}

}  // namespace

int match_aka(std::string_view system, const FtnAddr& addr, FtnAddr& aka) {
  // `addr` and `aka` may be the same object.
  const Block<SystemEntry>* block = system.empty() ? nullptr : find_block(blocks.system, system);
  if (block == nullptr) {
    aka = config.main_address;
    if (system.empty()) {
      log_line(4, "Data System not defined for this area, using MainAddress\n");
    } else {
      log_line(5, "match_aka: data system `%s' not found, using MainAddress\n", std::string(system).c_str());
    }
    return 0;
  }
  if (log_passes(5)) log_line(5, "match_aka: data system `%s' found ok\n", block->tag.c_str());
  const SystemEntry* best = best_entry(block->entries, addr);
  if (best == nullptr) {
    log_line(5, "match_aka: no matching found for zone %d, using MainAddress\n", addr.zone);
    aka = config.main_address;
    return 1;
  }
  aka = best->address;
  aka.domain = best->domain;
  return 1;
}

bool za_loop(const LineList& vias, const FtnAddr& routeto, std::string_view system) {
  if (vias.empty()) return false;
  FtnAddr aka;
  match_aka(system, routeto, aka);
  bool seen = false;
  for (std::string_view via : vias) {
    FtnAddr addr;
    if (first_addr(via, addr) == 0) continue;
    if (addr_equal(addr, aka)) {
      seen = true;
    } else if (seen && addr_equal(addr, routeto)) {
      return true;
    }
  }
  return false;
}

std::string make_via(const FtnAddr& aka) {
  return "\x01Via " + addr_with_domain(aka) + " " + via_stamp() + " " + program_name + " " + version_string +
         "\r";
}

void add_via(LineList& list, const FtnAddr& aka) {
  add_text(list, make_via(aka), at_end, Count::all);
}

std::string via_stamp() {
  std::tm now = local_time();
  int year = now.tm_year + (now.tm_year < 70 ? 2000 : 1900);
  std::string stamp = format_text("@%d%02d%02d.%02d%02d%02d.UTC", year, now.tm_mon + 1, now.tm_mday,
                                  now.tm_hour, now.tm_min, now.tm_sec);
  int offset = utc_offset_hours();
  return offset == 0 ? stamp : stamp + format_text("%+d", offset);
}

std::string addr_with_domain(const FtnAddr& addr) {
  std::string text = addr_to_text(addr);
  if (!addr.domain.empty()) text += "@" + addr.domain.str();
  return text;
}

}  // namespace quelmo
