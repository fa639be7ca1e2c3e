#include "bases/pack_image.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include "core/log.h"

namespace quelmo {
namespace {

// Gathers ranges of a file and appends them to another one in large writes.
class RangeCopy {
 public:
  RangeCopy(const Fd& from, const Fd& to, uint64_t position) : from_(from), to_(to), position_(position) {}

  bool add(FileRange range) {
    while (range.size > 0) {
      size_t size = static_cast<size_t>(std::min<uint64_t>(range.size, buffer_size - filled_));
      ssize_t got = read_at(from_, buffer_.get() + filled_, size, range.at);
      if (got >= 0 && static_cast<size_t>(got) < size) errno = EIO;
      if (got < 0 || static_cast<size_t>(got) < size) return false;
      filled_ += size;
      range.at += size;
      range.size -= size;
      if (filled_ == buffer_size && !write_out()) return false;
    }
    return true;
  }
  /// Cuts the file behind what was copied and flushes it.
  bool finish() { return write_out() && truncate_at(to_, position_) && flush_to_disk(to_); }

 private:
  static constexpr size_t buffer_size = 1 << 19;

  bool write_out() {
    if (!write_at(to_, {buffer_.get(), filled_}, position_)) return false;
    position_ += filled_;
    filled_ = 0;
    return true;
  }

  const Fd& from_;
  const Fd& to_;
  uint64_t position_;
  size_t filled_ = 0;
  std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(buffer_size);
};

bool write_packed(const Fd& to, const PackedFile& file) {
  uint64_t position = 0;
  for (std::string_view piece : file.pieces) {
    if (!write_at(to, piece, position)) return false;
    position += piece.size();
  }
  RangeCopy copy(*file.file, to, position);
  for (const FileRange& range : file.ranges) {
    if (!copy.add(range)) return false;
  }
  return copy.finish();
}

bool make_image_file(const std::string& name, const PackedFile& file) {
  Fd image = open_file(name, Open::create_new, 0600);
  if (!image) return false;
  if (take_mode_and_owner(image, *file.file) && write_packed(image, file) && image.close()) return true;
  int error = errno;
  remove_file(name);
  errno = error;
  return false;
}

}  // namespace

std::string image_path(std::string_view path) {
  return std::string(path) + ".pack";
}

std::string leftover_image(std::string_view path, std::span<const char* const> extensions) {
  for (const char* extension : extensions) {
    std::string name = image_path(path) + extension;
    if (file_exists(name)) return name;
  }
  return std::string();
}

void log_leftover_image(const Area& area, std::span<const char* const> extensions) {
  std::string name = leftover_image(area.path, extensions);
  if (name.empty()) return;
  log_line(0, "%s: an interrupted pack has left `%s': look at both with quelmo-base --check, keep one\n",
           area.tag.c_str(), name.c_str());
}

bool write_image(std::string_view path, std::span<const PackedFile> files) {
  for (size_t i = 0; i < files.size(); i++) {
    std::string name = image_path(path) + files[i].extension;
    if (make_image_file(name, files[i])) continue;
    log_line(0, "error writing pack image `%s': %s\n", name.c_str(), system_error(errno).c_str());
    remove_image(path, files.first(i));
    return false;
  }
  if (flush_directory_of(path)) return true;
  remove_image(path, files);
  return false;
}

bool write_in_place(const PackedFile& file) {
  return write_packed(*file.file, file);
}

bool copy_image_in_place(std::string_view path, const PackedFile& file) {
  Fd image = open_file(image_path(path) + file.extension, Open::read);
  int64_t length = image ? file_length(image) : -1;
  if (length < 0) return false;
  RangeCopy copy(image, *file.file, 0);
  return copy.add({.at = 0, .size = static_cast<uint64_t>(length)}) && copy.finish();
}

void remove_image(std::string_view path, std::span<const PackedFile> files) {
  for (const PackedFile& file : files) remove_file(image_path(path) + file.extension);
}

}  // namespace quelmo
