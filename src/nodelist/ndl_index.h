// The index of NODELIST blocks, `nodeidx.<ext>` (docs/formats/nodeidx.md): a record of 16 bytes for each
// Zone, Region and Host line, with the offset of the line in its nodelist. Node lines are read from the list
// itself.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "nodelist/list_record.h"
#include "select/data_blocks.h"

namespace quelmo {

enum class NdlType : uint8_t { zone = 0, region = 1, host = 2 };  // on disk: never change

struct NdlRecord {
  uint8_t type = 0;
  int32_t number = 0;
  uint8_t file = 0;     ///< index of the list in `nodeinc`, from 1
  uint32_t offset = 0;  ///< of the line in that list
};

extern const IndexKind ndl_kind;

/// Makes both index files of the lists `names` in `path`: 1, or 0 with the reason logged.
int ndl_build(const std::vector<std::string>& names, const std::string& path, const std::string& ext);

/// True if the block lists the node of `addr`; then `uplink` is the number of the last Hub line above it in
/// its net, 0 if there is none, and `region` the number of its region. A block that is switched off lists
/// nothing. An index or a list that can't be opened stops the run.
bool is_listed(const NodelistBlock& block, const FtnAddr& addr, uint16_t& uplink, uint16_t& region);

/// Looks for a node from the line of its net on, which stands at `start` of the list: 1 if it is found, with
/// its hub and its line in `last_node_line`. A line marked Down isn't found.
int ndl_lookup(std::string_view list, size_t start, uint16_t net, uint16_t node, uint16_t& uplink);

/// The line of the node found last, without its end; empty until one is found.
const std::string& last_node_line();
void clear_node_line();

/// Forgets the line and what was read of indexes and lists.
void free_ndl();

}  // namespace quelmo
