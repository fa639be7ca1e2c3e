// FTN addresses: zone:net/node.point@domain (FSP-1028, FRL-1002).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/fixed_text.h"

namespace quelmo {

struct FtnAddr {
  uint16_t zone = 0;
  uint16_t net = 0;
  uint16_t node = 0;
  uint16_t point = 0;  ///< 0 for a node itself
  FixedText<64> domain = {};
};

/// Values of a number field in a pattern.
constexpr uint16_t wild_any = 0xFFFF;   ///< `*`
constexpr uint16_t wild_hash = 0xFFFE;  ///< `#`

constexpr bool is_wildcard(uint16_t field) {
  return field == wild_any || field == wild_hash;
}

/// `zone:net/node[.point][@domain]`, numbers only. 1 if `text` is such an address, else 0 and `addr` stays.
/// Of a number the low 16 bits count, so `-1` gives 0xFFFF.
int addr_parse(std::string_view text, FtnAddr& addr);

/// The same, with `*` and `#` accepted in each of the four number fields.
int addr_parse_wild(std::string_view text, FtnAddr& addr);

/// `zone:net/node`, with `.point` if that isn't 0; a field of 0xFFFF prints as `*`. The domain doesn't print.
std::string addr_to_text(const FtnAddr& addr);

/// Zone, net, node and point; the domain isn't compared.
bool addr_equal(const FtnAddr& a, const FtnAddr& b);

/// 1 if the nets differ, 2 if the nodes differ, 3 if the points differ, else 4. Zones aren't compared.
int addr_match_depth(const FtnAddr& a, const FtnAddr& b);

/// The first word of `text`, between blanks and commas, that is an address (see addr_parse): 1 or 0.
int first_addr(std::string_view text, FtnAddr& addr);

}  // namespace quelmo
