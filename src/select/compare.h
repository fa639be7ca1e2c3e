// The two comparisons that the tests of a message share: an address with a pattern, a text with a pattern.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/address.h"

namespace quelmo {

/// True if a field of an address equals that of a pattern, or the pattern holds `*` or `#` there.
constexpr bool field_fits(uint16_t field, uint16_t pattern) {
  return pattern == field || is_wildcard(pattern);
}

/// True if `addr` fits `pattern`, whose wildcards mean, tested in this order:
///   net `#`    listed under no hub, region and zone equal to the net (`in_zone_root`)
///   node `#`   listed under no hub, region equal to the net (`in_region_root`)
///   point `#`  in the hub segment of the pattern's node, which is that of `addr` where it is wild
///   `*`        any number
/// With `any_point` the pattern's point counts as `*`. Domains play no part.
bool comp_aadrs(const FtnAddr& addr, const FtnAddr& pattern, bool any_point = false);

/// Not relaxed: equal, byte for byte. Relaxed: `pattern` stands anywhere in `text` whatever the case, of both
/// of which the first 255 bytes count; an empty pattern fits everything.
bool comp_str(std::string_view text, std::string_view pattern, bool relaxed);

/// The hub that a pattern with `#` as its point names: zone, net and node of the pattern, or of `addr` where
/// the pattern has a wildcard.
FtnAddr hub_of(const FtnAddr& addr, const FtnAddr& pattern);

/// True if a nodelist block, VERSION9 blocks being asked first, lists `addr` with `hub` as its uplink; a hub
/// is listed with itself.
bool in_hub_segment(const FtnAddr& addr, const FtnAddr& hub);
/// True if a VERSION9 block lists `addr` under no hub, in a net whose number is that of its region.
bool in_region_root(const FtnAddr& addr);
/// The same for a net whose number is that of its region and of its zone.
bool in_zone_root(const FtnAddr& addr);

}  // namespace quelmo
