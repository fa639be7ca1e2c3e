// Is an address listed in the nodelists of the configuration, and under what hub and in what region does it
// stand? A block lists the addresses that the indexes of its lists hold; without an index it lists none.
#pragma once

#include <cstdint>

#include "select/data_blocks.h"

namespace quelmo {

using NodelistBlock = Block<NodelistEntry>;

/// True if a NODELIST block lists the node of `addr`, whose point plays no part. Then `uplink` is the number
/// of its hub, 0 if it stands under none, and `region` that of its region. A block that is switched off lists
/// nothing.
bool is_listed(const NodelistBlock& block, const FtnAddr& addr, uint16_t& uplink, uint16_t& region);

/// The same for a VERSION9 block, which knows the zone of the net, too.
bool is_v9_listed(const NodelistBlock& block, const FtnAddr& addr, uint16_t& zone, uint16_t& region,
                  uint16_t& uplink);

/// Asks all VERSION9 blocks and then all NODELIST blocks in the order of their definition; the first that
/// lists `addr` answers. 1 or 0.
int find_uplink(const FtnAddr& addr, uint16_t& uplink, uint16_t& region);

}  // namespace quelmo
