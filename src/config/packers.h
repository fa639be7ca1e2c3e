// The external packers of the compression configuration: archivers that pack and unpack mail bundles.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/fixed_text.h"

namespace quelmo {

/// A command line. In the arguments `%a` stands for the archive, `%f` for the files, and `%d` for the
/// directory to work in.
struct PackerCommand {
  std::string program;  ///< full path; empty: not given
  std::string arguments;
};

/// The whole line, for the log.
std::string command_line(const PackerCommand& command);

struct Packer {
  FixedText<20> name;
  FixedText<4> extension;
  int32_t ident_offset = 0;  ///< place of the signature in an archive; negative: counted from its end
  std::string ident;         ///< the bytes of the signature, at most 256
  PackerCommand add;
  PackerCommand extract;
  int32_t ratio = 0;  ///< compression ratio in tenths
};

/// All packers, in the order of their file; empty without a compression configuration.
extern std::vector<Packer> packers;

/// The packer of this name, ignoring case; null if there is none.
const Packer* find_packer(std::string_view name);

}  // namespace quelmo
