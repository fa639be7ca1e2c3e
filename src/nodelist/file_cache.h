// Indexes and nodelists, read once and kept as long as the files on disk are the same: a look-up asks the
// file system whether they are, and reads what has been replaced.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/files.h"

namespace quelmo {

/// What tells a file from the one that stood there before.
struct FileIdentity {
  uint64_t device = 0;
  uint64_t inode = 0;
  uint64_t size = 0;
  std::time_t mtime = 0;
  long mtime_ns = 0;

  bool operator==(const FileIdentity&) const = default;
};

/// Keeps for each path what `decode` made of the file's bytes.
template <class Content>
class FileCache {
 public:
  /// The content of the file as it is now; null, with errno, if it can't be read. The pointer holds until the
  /// next call for the same path.
  template <class Decode>
  const Content* get(const std::string& path, Decode decode) {
    std::optional<FileInfo> info = file_info(path);
    if (!info) {
      entries_.erase(path);
      return nullptr;
    }
    FileIdentity identity = {info->device, info->inode, info->size, info->mtime, info->mtime_ns};
    auto entry = entries_.find(path);
    if (entry != entries_.end() && entry->second.identity == identity) return &entry->second.content;
    std::optional<std::string> bytes = read_file(path, largest_file);
    if (!bytes) return nullptr;
    Entry& fresh = entries_[path];
    fresh.identity = identity;
    fresh.content = decode(std::move(*bytes));
    return &fresh.content;
  }
  void clear() { entries_.clear(); }

 private:
  static constexpr uint64_t largest_file = 1 << 28;
  struct Entry {
    FileIdentity identity;
    Content content;
  };
  std::unordered_map<std::string, Entry> entries_;
};

}  // namespace quelmo
