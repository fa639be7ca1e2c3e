// What the rest of the program asks nodelists: is an address listed, and under what hub and region?
#pragma once

#include <cstdint>

#include "core/address.h"
#include "nodelist/ndl_index.h"
#include "nodelist/v9_index.h"

namespace quelmo {

/// Asks all VERSION9 blocks and then all NODELIST blocks in the order of their definition; the first that
/// lists `addr` fills `uplink` and `region`. 1 or 0.
int find_uplink(const FtnAddr& addr, uint16_t& uplink, uint16_t& region);

/// Forgets what was read of nodelists and indexes.
void free_nodelists();

}  // namespace quelmo
