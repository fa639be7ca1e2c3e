// CRC-32 of IEEE 802.3: reflected, polynomial 0xEDB88320. One piece of code for all that need it.
#pragma once

#include <cstdint>
#include <string_view>

namespace quelmo {

constexpr uint32_t crc32_start = 0xFFFFFFFF;

/// Runs the CRC over `bytes` from the running value `crc`. It inverts neither at the start nor at the end:
/// that is the caller's choice.
uint32_t crc32_update(uint32_t crc, std::string_view bytes);

/// The common CRC-32 of a whole file (start value 0xFFFFFFFF, inverted at the end). 0, with the reason on
/// stderr and in the log, if it can't be read.
uint32_t crc32_file(std::string_view path);

}  // namespace quelmo
