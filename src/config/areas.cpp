#include "config/areas.h"

#include "config/time_stamps.h"

namespace quelmo {

AreaLists areas;

namespace {

Area* find_in(AreaType type, std::string_view tag) {
  auto place = areas.places[type].find(tag);
  return place != areas.places[type].end() ? &areas.of_type[type][place->second] : nullptr;
}

}  // namespace

const Area* find_area(AreaType type, std::string_view tag) {
  return type == area_none ? nullptr : find_in(type, tag);
}

const Area* find_area(std::string_view tag) {
  for (AreaType type : {area_fido, area_bink, area_pkt, area_squish, area_jam, area_text}) {
    if (const Area* area = find_in(type, tag)) return area;
  }
  return nullptr;
}

AreaType area_type(std::string_view tag) {
  const Area* area = find_area(tag);
  return area != nullptr ? area->type : area_none;
}

std::string_view area_system(std::string_view tag) {
  const Area* area = find_area(tag);
  return area != nullptr ? area->system.view() : std::string_view();
}

bool is_echo_area(AreaType type, std::string_view tag) {
  const Area* area = find_area(type, tag);
  return area != nullptr && area->echomail;
}

void store_area(const Area& area) {
  if (Area* known = find_in(area.type, area.tag)) {
    *known = area;
  } else {
    areas.places[area.type].emplace(area.tag.view(), areas.of_type[area.type].size());
    areas.of_type[area.type].push_back(area);
  }
  if (area.type == area_fido || area.type == area_squish || area.type == area_jam) add_ts_entry(area.tag);
}

}  // namespace quelmo
