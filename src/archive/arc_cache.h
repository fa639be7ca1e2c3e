// Which bundle a packet goes into: the one in use for its addressee, as long as it may grow, or a new one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/address.h"

namespace quelmo {

/// What a packet asks of its bundle.
struct BundleRequest {
  FtnAddr to;
  std::string dir;       ///< the bundle's, with its closing separator
  std::string flow_dir;  ///< the same as lines of `flow` have it
  std::string flow;      ///< the flow file that attaches bundles; empty in a file box
  std::string pkt;       ///< path of the packet
  std::string_view packer;
  uint32_t maxlen = 0;  ///< of the bundle, in bytes; 0: no limit
  int32_t ratio = 0;    ///< by which packets shrink, in tenths
};

struct Bundle {
  std::string name;       ///< without directory; empty: none can be had
  bool attached = false;  ///< it is known to the flow file already
};

/// The bundle for a packet: that of an earlier packet of the run, or the last one of today that the flow file
/// (in a file box: the directory) knows, if it is an archive of the packer and the packet fits; else a new
/// name. If there is no name left the last bundle goes on growing.
Bundle get_arcname(const BundleRequest& request);

/// Forgets the bundles of the run.
void free_arc_cache();

}  // namespace quelmo
