// The index of VERSION9 blocks, `ver9idx.<ext>` (docs/formats/ver9idx.md): all nets and nodes of the lists,
// sorted, for two binary searches. A node's hub is its place in the table of hubs behind the net's nodes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "nodelist/list_record.h"
#include "select/data_blocks.h"

namespace quelmo {

struct V9Net {
  uint16_t net = 0;
  uint16_t zone = 0;
  uint16_t region = 0;
  uint16_t node_count = 0;  ///< without the table of hubs
  uint32_t first = 0;       ///< in memory: place of its first node record; on disk: its offset in the file
};

struct V9Node {
  uint16_t node = 0;  ///< 0: the line of the net itself
  uint8_t hub = 0;    ///< place of its hub in the table of hubs, from 1; 0 for none
};

struct V9Index {
  std::vector<V9Net> nets;    ///< sorted by net, then by zone
  std::vector<V9Node> nodes;  ///< of each net the nodes, sorted, and then its table of hubs
  uint16_t max_hubs = 0;
  bool valid = false;
};

extern const IndexKind v9_kind;

/// Makes both index files of the lists `names`: 1, or 0 if a list can't be opened, or doesn't begin with a
/// zone and no default zone and region (0xFFFF: none) are given. An index that can't be written stops the
/// run.
int v9_compile(const std::vector<std::string>& names, const std::string& path, const std::string& ext,
               uint16_t zone, uint16_t region);

/// An index out of the bytes of its file; `valid` is false if they aren't one, or if a net points outside of
/// it.
V9Index v9_decode(std::string_view bytes);

/// Looks for a node in `net`, of `zone` or, if that is 0, of any. 0 if it is found, 1 if it is found and
/// several nets have the number, -1 if the index is no index or has no such net, -2 if the net has no such
/// node.
int v9_search(const V9Index& index, uint16_t zone, uint16_t net, uint16_t node, uint16_t& out_zone,
              uint16_t& out_region, uint16_t& out_uplink);

/// True if the block lists the node of `addr`, with its zone, its region (a zone's own systems: the zone
/// number) and its hub (0 for none). A block that is switched off, and an index that can't be read, list
/// nothing.
bool is_v9_listed(const NodelistBlock& block, const FtnAddr& addr, uint16_t& zone, uint16_t& region,
                  uint16_t& uplink);

/// Forgets what was read of indexes.
void free_v9();

}  // namespace quelmo
