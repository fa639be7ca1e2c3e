#include "platform/path.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "platform/bytes_case.h"

namespace quelmo {
namespace {

std::string start_directory;  // absolute, with a closing slash; empty until set

bool has_drive(std::string_view path) {
  return path.size() >= 2 && path[1] == ':';
}

std::string drive_root(char letter) {
  std::string name = "QUELMO_DRIVE_";
  name += upper_byte(letter);
  const char* dir = std::getenv(name.c_str());
  std::string root = dir != nullptr && *dir != '\0' ? dir : "/";
  if (root.back() != '/') root += '/';
  return root;
}

bool exists(const std::string& host) {
  return ::faccessat(AT_FDCWD, host.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

// The name in `dir` that equals `name` ignoring case, empty if there is none.
std::string name_in(const std::string& dir, std::string_view name) {
  std::string best;
  std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(dir.c_str()), ::closedir);
  if (!listing) return best;
  while (const dirent* entry = ::readdir(listing.get())) {
    std::string_view candidate = entry->d_name;
    if (equal_nocase(candidate, name) && (best.empty() || candidate < best)) best = candidate;
  }
  return best;
}

}  // namespace

bool is_absolute(std::string_view path) {
  return (!path.empty() && is_separator(path[0])) || has_drive(path);
}

size_t last_separator(std::string_view path) {
  return path.find_last_of("\\/");
}

std::string_view dir_part(std::string_view path) {
  size_t at = last_separator(path);
  if (at != std::string_view::npos) return path.substr(0, at + 1);
  return has_drive(path) ? path.substr(0, 2) : std::string_view();
}

std::string_view file_part(std::string_view path) {
  return path.substr(dir_part(path).size());
}

char own_separator(std::string_view path) {
  size_t at = last_separator(path);
  if (at != std::string_view::npos) return path[at];
  return has_drive(path) ? '\\' : '/';
}

std::string close_dir(std::string_view path) {
  std::string closed(path);
  if (!closed.empty() && !is_separator(closed.back())) closed += own_separator(path);
  return closed;
}

void set_start_directory() {
  std::unique_ptr<char, void (*)(void*)> dir(::getcwd(nullptr, 0), ::free);
  start_directory = dir ? dir.get() : "";
  if (!start_directory.empty() && start_directory.back() != '/') start_directory += '/';
}

std::string host_path(std::string_view path) {
  path = path.substr(0, path.find('\0'));
  std::string host;
  if (has_drive(path)) {
    host = drive_root(path[0]);
    path.remove_prefix(2);
    while (!path.empty() && is_separator(path[0])) path.remove_prefix(1);
  } else if (path.empty() || !is_separator(path[0])) {
    host = start_directory;
    if (path.empty() && host.empty()) host = ".";
  }
  for (char c : path) host += is_separator(c) ? '/' : c;
  return host;
}

std::string disk_path(std::string_view path) {
  return disk_spelling(host_path(path));
}

std::string disk_spelling(const std::string& host) {
  if (exists(host)) return host;
  std::string found;
  size_t at = 0;
  bool lost = false;
  while (at < host.size()) {
    size_t end = host.find('/', at);
    if (end == std::string::npos) end = host.size();
    std::string_view name = std::string_view(host).substr(at, end - at);
    std::string next = found + std::string(name);
    if (!lost && !name.empty() && !exists(next)) {
      std::string real = name_in(found.empty() ? "." : found, name);
      lost = real.empty();
      if (!lost) next = found + real;
    }
    found = next;
    if (end < host.size()) found += '/';
    at = end + 1;
  }
  return found;
}

bool name_taken(const std::string& host) {
  if (exists(host)) return true;
  size_t name = host.rfind('/') + 1;
  std::string other = host;
  for (size_t i = name; i < other.size(); i++) other[i] = lower_byte(other[i]);
  if (other != host && exists(other)) return true;
  for (size_t i = name; i < other.size(); i++) other[i] = upper_byte(other[i]);
  return other != host && exists(other);
}

}  // namespace quelmo
