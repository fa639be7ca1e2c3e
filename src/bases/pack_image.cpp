#include "bases/pack_image.h"

#include <sys/stat.h>

#include <cerrno>

#include "core/log.h"

namespace quelmo {
namespace {

bool write_pieces(const Fd& file, std::span<const std::string_view> pieces) {
  uint64_t position = 0;
  for (std::string_view piece : pieces) {
    if (!write_at(file, piece, position)) return false;
    position += piece.size();
  }
  return truncate_at(file, position) && flush_to_disk(file);
}

bool make_image_file(const std::string& name, const PackedFile& file) {
  Fd image = open_file(name, Open::create_new, 0600);
  if (!image) return false;
  if (take_mode_and_owner(image, *file.file) && write_pieces(image, file.pieces) && image.close())
    return true;
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
  return write_pieces(*file.file, file.pieces);
}

void remove_image(std::string_view path, std::span<const PackedFile> files) {
  for (const PackedFile& file : files) remove_file(image_path(path) + file.extension);
}

}  // namespace quelmo
