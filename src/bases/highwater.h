// Numbers for new files named `<number>.<ext>`, the *.MSG areas and text areas. The first question of an area
// lists its directory; after that the next number is remembered.
#pragma once

#include <cstdint>
#include <string_view>

namespace quelmo {

/// The number to use for a new file of that extension in `dir` (with its closing separator): above all that
/// exist, and above all that were given before.
uint32_t get_highwater(std::string_view area, std::string_view dir, std::string_view ext);

/// Highest number among the files `<digits>.<ext>`, plus 1; ignores case.
uint32_t get_max_msg(std::string_view dir, std::string_view ext);

void free_highwater();

}  // namespace quelmo
