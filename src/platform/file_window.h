// A file that is read in many small pieces, most of them one behind the other, through a few large reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/files.h"

namespace quelmo {

class FileWindow {
 public:
  /// The `size` bytes at `position`, fewer only where the file ends; nothing, with errno, on a read error.
  /// They stand until the next call. The memory grows to `size`, so a size out of a file is held against the
  /// file's length first.
  ///
  /// Piece behind piece costs one read for each `ahead` bytes; a jump reads little more than was asked for,
  /// and the reads behind it grow from there, so that a file that is read to and fro isn't read many times
  /// over.
  std::optional<std::string_view> at(const Fd& file, uint64_t position, size_t size);

  /// Forgets what was read: behind a write to the file, or for another file.
  void forget() { filled_ = 0; }

 private:
  static constexpr size_t ahead = 1 << 18;
  static constexpr size_t jump = 4096;

  bool fill(const Fd& file, uint64_t position, size_t size);

  std::unique_ptr<char[]> buffer_;
  size_t room_ = 0;
  uint64_t start_ = 0;  ///< position in the file of the first byte held
  size_t filled_ = 0;   ///< number of bytes held
  size_t reach_ = 0;    ///< bytes that the last read went for
};

}  // namespace quelmo
