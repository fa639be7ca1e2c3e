#include "platform/directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "platform/bytes_case.h"
#include "platform/path.h"

namespace quelmo {

bool Directory::open(std::string_view path) {
  std::string host = disk_path(path);
  fd_ = above_stdio(::open(host.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return static_cast<bool>(fd_);
}

bool Directory::each_name(const std::function<void(std::string_view, bool)>& visit) const {
  // A descriptor of its own: closedir takes the one that it is given.
  int own = ::openat(fd_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (own < 0) return false;
  std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(own), ::closedir);
  if (!listing) {
    ::close(own);
    return false;
  }
  while (const dirent* entry = ::readdir(listing.get())) {
    std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    visit(name, entry->d_type == DT_REG);
  }
  return true;
}

Fd Directory::open_file(const char* name, Open how) const {
  int flags = (how == Open::read ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  return above_stdio(::openat(fd_.get(), name, flags));
}

std::optional<FileInfo> Directory::info(const char* name) const {
  struct stat st;
  if (::fstatat(fd_.get(), name, &st, 0) != 0) return std::nullopt;
  return info_of(st);
}

bool Directory::has(const char* name) const {
  return ::faccessat(fd_.get(), name, F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

bool Directory::remove(const char* name) const {
  return ::unlinkat(fd_.get(), name, 0) == 0;
}

std::vector<FoundFile> find_files(std::string_view spec, Find what) {
  std::vector<FoundFile> found;
  Directory dir;
  if (!dir.open(dir_part(spec))) return found;
  std::string pattern = upper(file_part(spec));
  dir.each_name([&](std::string_view name, bool) {
    if (wild_match(upper(name), pattern)) found.push_back({.name = std::string(name)});
  });
  std::erase_if(found, [&](FoundFile& file) {
    std::optional<FileInfo> info = dir.info(file.name.c_str());
    if (!info) return true;
    file.size = info->size;
    file.mtime = info->mtime;
    file.is_directory = info->is_directory;
    file.is_plain = info->is_plain;
    return what != Find::all && info->is_directory != (what == Find::directories);
  });
  std::sort(found.begin(), found.end(), [](const FoundFile& a, const FoundFile& b) {
    int order = compare_nocase(a.name, b.name);
    return order != 0 ? order < 0 : a.name < b.name;
  });
  return found;
}

bool wild_match(std::string_view name, std::string_view pattern) {
  size_t n = 0;
  size_t p = 0;
  size_t star = std::string_view::npos;  // the last `*` and the place in `name` up to which it reaches
  size_t reach = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      reach = n;
    } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
      p++;
      n++;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      n = ++reach;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') p++;
  return p == pattern.size();
}

}  // namespace quelmo
