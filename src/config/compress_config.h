// The reader of the compression configuration, which describes the external packers: `Archiver name` ...
// `End Archiver`, with Extension, Ident, Add, Extract and Ratio between them.
#pragma once

#include <string>

namespace quelmo {

/// Adds the packers of the file to `packers`. False, logged, if it can't be opened; any other fault stops the
/// run.
bool read_compress_cfg(const std::string& path);

}  // namespace quelmo
