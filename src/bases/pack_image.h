// The safety net of a pack. The packed base is first made whole beside the old one, as a base of its own at
// `<path>.pack`, and flushed; only then are the base's own files rewritten in place, under their lock, as
// other programs hold them open. The image goes when the base is whole and flushed. So whenever a pack is
// killed, one whole copy of the mail is on the disk.
//
// An image that is left over is never put back by the program, as others may have written to the base since:
// a sysop looks at both (`quelmo-base --check`) and keeps one.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/areas.h"
#include "platform/files.h"

namespace quelmo {

struct FileRange {
  uint64_t at = 0;
  uint64_t size = 0;
};

/// One file of a base and what is to stand in it: the pieces one behind the other, then the ranges of the
/// file as it is now. Ranges take no memory, however long they are.
struct PackedFile {
  const char* extension;  ///< ".sqd"
  const Fd* file;         ///< the base's own, open for writing
  std::vector<std::string_view> pieces;
  std::vector<FileRange> ranges = {};
};

/// `path` with ".pack" behind it: the base that an image is.
std::string image_path(std::string_view path);

/// The first file of an image that stands beside the base at `path`; empty if there is none.
std::string leftover_image(std::string_view path, std::span<const char* const> extensions);

/// Names a leftover image in the log, at level 0. For the selection of an area.
void log_leftover_image(const Area& area, std::span<const char* const> extensions);

/// Makes the image and flushes it, with the mode and, where allowed, the owner of the base's own files.
/// False, logged at level 0, if a file of it stands already or can't be written; then nothing of it is left
/// that was made here.
bool write_image(std::string_view path, std::span<const PackedFile> files);

/// Writes the pieces over the base's own file, cuts it behind them and flushes it. False with errno.
bool write_in_place(const PackedFile& file);
/// The same with what stands in the image: for a file with ranges, which its own bytes can't be made of while
/// they are overwritten.
bool copy_image_in_place(std::string_view path, const PackedFile& file);

void remove_image(std::string_view path, std::span<const PackedFile> files);

}  // namespace quelmo
