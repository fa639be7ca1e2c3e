// Nodelist files named by templates: "NODELIST.???" is the newest of the numbered lists.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quelmo {

/// Finds a file for each word of `templates` (the first 10 count) in the directory `path`, which ends in a
/// separator, and puts the file names, without directory, into `names`. A word without a point has the
/// extension `???`. With that extension, or one that begins with `*`, only files with a numeric extension
/// count, of these the newest, of equally old ones that with the largest number; with any other, the first
/// file that fits. The result is the number of names, or 0 if a word fits no file.
int resolve_templates(std::string_view path, std::string_view templates, std::vector<std::string>& names);

}  // namespace quelmo
