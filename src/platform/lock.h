// Byte-range write locks, non-waiting. They are open-file-description locks: they exclude the fcntl locks
// that other programs take, and closing some other descriptor of the same file doesn't drop them.
#pragma once

#include <cstdint>

#include "platform/files.h"

namespace quelmo {

/// 0 on success, -1 if somebody else holds a part of the range.
int lock_region(const Fd& fd, uint64_t offset, uint64_t length);
int unlock_region(const Fd& fd, uint64_t offset, uint64_t length);

}  // namespace quelmo
