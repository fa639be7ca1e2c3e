// The reader of the configuration file. Lines are keywords with their values, or lines of a data block
// (DATA type tag ... #END#); ";" begins a comment, `$include name` reads another file at that point.
#pragma once

#include <string_view>

namespace quelmo {

/// Reads the file `name`, looked for behind `home` and then by itself. A file that isn't there counts as an
/// empty one; everything else that is wrong stops the run with a message on stderr.
void read_config(std::string_view home, std::string_view name);

}  // namespace quelmo
