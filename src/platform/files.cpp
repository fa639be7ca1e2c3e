#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/path.h"

namespace quelmo {
namespace {

// Runs `call` on the host path as written and, if nothing of that name exists, once more in the spelling of
// the disk. `call` returns a negative value with errno on failure.
template <class Call>
auto with_spelling(std::string_view path, Call call) {
  std::string host = host_path(path);
  auto result = call(host);
  if (result >= 0 || errno != ENOENT) return result;
  std::string found = disk_spelling(host);
  if (found == host) {
    errno = ENOENT;
    return result;
  }
  return call(found);
}

int open_flags(Open how) {
  switch (how) {
    case Open::read:
      return O_RDONLY;
    case Open::update:
      return O_RDWR;
    case Open::append:
      return O_WRONLY | O_CREAT | O_APPEND;
    case Open::create:
      return O_RDWR | O_CREAT;
    case Open::overwrite:
      return O_RDWR | O_CREAT | O_TRUNC;
    case Open::create_new:
      return O_RDWR | O_CREAT | O_EXCL;
  }
  return O_RDONLY;
}

Fd open_above_stdio(const std::string& host, int flags, mode_t mode) {
  return above_stdio(::open(host.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode));
}

// Gives the open file the mode and owner of `old`. What is equal already isn't touched: there are file
// systems that hold neither and refuse both calls.
bool take_mode_and_owner(int fd, const struct stat& old) {
  struct stat fresh;
  if (::fstat(fd, &fresh) != 0) return false;
  bool other_owner = old.st_uid != fresh.st_uid || old.st_gid != fresh.st_gid;
  if (other_owner && ::fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM) return false;
  bool other_mode = ((old.st_mode ^ fresh.st_mode) & 07777) != 0;
  return !other_mode || ::fchmod(fd, old.st_mode & 07777) == 0;
}

bool flush_directory_of_host(const std::string& host) {
  size_t end = host.rfind('/');
  std::string name = end == std::string::npos ? "." : host.substr(0, end + 1);
  Fd dir = open_above_stdio(name, O_RDONLY | O_DIRECTORY, 0);
  return dir && flush_to_disk(dir);
}

// Where a new file of this name goes: the directory in the spelling of the disk, the name as written.
std::string new_name(std::string_view path) {
  std::string host = host_path(path);
  size_t name = host.rfind('/') + 1;
  if (name <= 1) return host;
  return disk_spelling(host.substr(0, name)) + host.substr(name);
}

}  // namespace

void Fd::reset() {
  if (fd_ < 0) return;
  int error = errno;
  ::close(fd_);
  fd_ = -1;
  errno = error;
}

bool Fd::close() {
  return ::close(std::exchange(fd_, -1)) == 0;
}

Fd above_stdio(int fd) {
  Fd owned(fd);
  if (fd < 0 || fd > STDERR_FILENO) return owned;
  return Fd(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

Fd open_file(std::string_view path, Open how, mode_t mode) {
  int flags = open_flags(how);
  if (how == Open::create_new) {
    std::string host = new_name(path);
    if (name_taken(host)) {
      errno = EEXIST;
      return Fd();
    }
    return open_above_stdio(host, flags, mode);
  }
  if ((flags & O_CREAT) != 0) return open_above_stdio(disk_path(path), flags, mode);
  Fd fd;
  with_spelling(path, [&](const std::string& host) {
    fd = open_above_stdio(host, flags, mode);
    return fd.get();
  });
  return fd;
}

ssize_t read_some(const Fd& fd, void* buffer, size_t size) {
  size_t done = 0;
  while (done < size) {
    ssize_t n = ::read(fd.get(), static_cast<char*>(buffer) + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

ssize_t read_at(const Fd& fd, void* buffer, size_t size, uint64_t position) {
  size_t done = 0;
  while (done < size) {
    ssize_t n = ::pread(fd.get(), static_cast<char*>(buffer) + done, size - done,
                        static_cast<off_t>(position + done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return -1;
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

ssize_t read_head(const Fd& fd, void* buffer, size_t size) {
  ssize_t n = 0;
  do {
    n = ::pread(fd.get(), buffer, size, 0);
  } while (n < 0 && errno == EINTR);
  return n;
}

bool write_all(const Fd& fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t n = ::write(fd.get(), bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

bool write_at(const Fd& fd, std::string_view bytes, uint64_t position) {
  while (!bytes.empty()) {
    ssize_t n = ::pwrite(fd.get(), bytes.data(), bytes.size(), static_cast<off_t>(position));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    bytes.remove_prefix(static_cast<size_t>(n));
    position += static_cast<uint64_t>(n);
  }
  return true;
}

std::optional<std::string> read_file(std::string_view path, uint64_t limit) {
  Fd fd = open_file(path, Open::read);
  if (!fd) return std::nullopt;
  int64_t length = file_length(fd);
  if (length < 0) return std::nullopt;
  if (static_cast<uint64_t>(length) > limit) {
    errno = EFBIG;
    return std::nullopt;
  }
  std::string bytes(static_cast<size_t>(length), '\0');
  ssize_t n = read_some(fd, bytes.data(), bytes.size());
  if (n < 0) return std::nullopt;
  bytes.resize(static_cast<size_t>(n));
  return bytes;
}

int64_t file_length(const Fd& fd) {
  struct stat st;
  if (::fstat(fd.get(), &st) != 0) return -1;
  return st.st_size;
}

bool truncate_at(const Fd& fd, uint64_t position) {
  return ::ftruncate(fd.get(), static_cast<off_t>(position)) == 0;
}

bool flush_to_disk(const Fd& fd) {
  return ::fsync(fd.get()) == 0;
}

bool flush_directory_of(std::string_view path) {
  return flush_directory_of_host(disk_path(path));
}

bool take_mode_and_owner(const Fd& file, const Fd& like) {
  struct stat old;
  return ::fstat(like.get(), &old) == 0 && take_mode_and_owner(file.get(), old);
}

FileInfo info_of(const struct stat& st) {
  return {.size = static_cast<uint64_t>(st.st_size),
          .mtime = st.st_mtime,
          .mtime_ns = st.st_mtim.tv_nsec,
          .is_directory = S_ISDIR(st.st_mode),
          .is_plain = S_ISREG(st.st_mode),
          .device = st.st_dev,
          .inode = st.st_ino};
}

std::optional<FileInfo> file_info(std::string_view path) {
  struct stat st;
  if (with_spelling(path, [&](const std::string& host) { return ::stat(host.c_str(), &st); }) != 0) {
    return std::nullopt;
  }
  return info_of(st);
}

std::optional<FileInfo> file_info(const Fd& fd) {
  struct stat st;
  if (::fstat(fd.get(), &st) != 0) return std::nullopt;
  return info_of(st);
}

bool file_exists(std::string_view path) {
  return with_spelling(path, [](const std::string& host) { return ::access(host.c_str(), F_OK); }) == 0;
}

bool is_enterable_dir(std::string_view path) {
  std::optional<FileInfo> info = file_info(path);
  if (!info || !info->is_directory) return false;
  return with_spelling(path, [](const std::string& host) { return ::access(host.c_str(), X_OK); }) == 0;
}

bool remove_file(std::string_view path) {
  return with_spelling(path, [](const std::string& host) { return ::unlink(host.c_str()); }) == 0;
}

bool make_directory(std::string_view path) {
  std::string host = host_path(path);
  while (host.size() > 1 && host.back() == '/') host.pop_back();
  return ::mkdir(disk_spelling(host).c_str(), 0777) == 0;
}

bool rename_file(std::string_view from, std::string_view to) {
  std::string target = new_name(to);
  std::string source = disk_path(from);
  if (source == target) return true;
  if (name_taken(target)) {
    errno = EEXIST;
    return false;
  }
  if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A file system without that flag: a second name is never put over an existing one.
  return ::link(source.c_str(), target.c_str()) == 0 && ::unlink(source.c_str()) == 0;
}

bool replace_file(std::string_view from, std::string_view to, bool durable) {
  std::string source = disk_path(from);
  std::string target = disk_path(to);
  struct stat old;
  if (::stat(target.c_str(), &old) == 0 || durable) {
    Fd file = open_above_stdio(source, O_RDONLY, 0);
    if (!file) return false;
    if (::stat(target.c_str(), &old) == 0 && !take_mode_and_owner(file.get(), old)) return false;
    if (durable && !flush_to_disk(file)) return false;
  }
  if (::rename(source.c_str(), target.c_str()) != 0) return false;
  if (durable) flush_directory_of_host(target);
  return true;
}

bool rewrite_file(std::string_view path, std::string_view bytes, mode_t mode) {
  return rewrite_file(path, {bytes}, mode);
}

bool rewrite_file(std::string_view path, std::initializer_list<std::string_view> pieces, mode_t mode) {
  std::string fresh = std::string(path) + ".#";
  Fd file = open_file(fresh, Open::overwrite, mode);
  bool written = static_cast<bool>(file);
  for (std::string_view piece : pieces) written = written && write_all(file, piece);
  written = written && file.close();
  if (written && replace_file(fresh, path, true)) return true;
  int error = errno;
  remove_file(fresh);
  errno = error;
  return false;
}

std::string system_error(int error) {
  char buffer[128];
  return ::strerror_r(error, buffer, sizeof buffer);
}

}  // namespace quelmo
