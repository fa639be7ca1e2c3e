// Directory listings. `Directory` serves the walk of a message area: names as they come, files opened by name
// from the one open directory. `find_files` is the search of the DOS world: a pattern, ignoring case, and the
// matches in the order of their upper-cased names, so that a run is the same on every file system.
#pragma once

#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace quelmo {

class Directory {
 public:
  /// An empty path is the directory from which relative paths count.
  bool open(std::string_view path);
  void close() { fd_.reset(); }
  explicit operator bool() const { return static_cast<bool>(fd_); }

  /// Calls `visit` with each name but "." and "..", in no order, and whether it is known to be a plain file
  /// (a link, or an entry of a file system that doesn't tell, isn't). False if the listing failed.
  bool each_name(const std::function<void(std::string_view name, bool plain_file)>& visit) const;

  /// Opens an existing file by its exact name.
  Fd open_file(const char* name, Open how) const;
  std::optional<FileInfo> info(const char* name) const;
  /// True if the name stands, be it a link that leads nowhere.
  bool has(const char* name) const;
  bool remove(const char* name) const;

 private:
  Fd fd_;
};

struct FoundFile {
  std::string name;  ///< without directory
  uint64_t size = 0;
  std::time_t mtime = 0;
  bool is_directory = false;
  bool is_plain = false;
};

enum class Find { files, directories, all };

/// The entries that fit `spec`, a directory part and a file name pattern (see `wild_match`), in the order of
/// their upper-cased names. Symbolic links are followed; a directory that can't be read holds nothing.
std::vector<FoundFile> find_files(std::string_view spec, Find what = Find::files);

/// File name pattern: `*` any run of characters, `?` one character; case counts.
bool wild_match(std::string_view name, std::string_view pattern);

}  // namespace quelmo
