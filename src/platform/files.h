// Files, by path texts (see path.h). A name that doesn't exist as it is spelled is looked for ignoring case,
// so that the stores of a DOS machine are found. Every function that fails leaves the reason in errno.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quelmo {

/// An owned file descriptor, always above 2 and close-on-exec: a script that closes its STDOUT can't make
/// progress lines land in a message base.
class Fd {
 public:
  Fd() = default;
  explicit Fd(int fd) : fd_(fd) {}
  Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Fd& operator=(Fd&& other) noexcept {
    if (this != &other) {
      reset();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  ~Fd() { reset(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  /// Closes the descriptor; keeps errno.
  void reset();
  /// Closes the descriptor behind a write: false if the system only now tells that it failed, as file systems
  /// of a network do.
  bool close();

 private:
  int fd_ = -1;
};

enum class Open {
  read,        ///< an existing file, reading
  update,      ///< an existing file, reading and writing
  append,      ///< writing at the end; made if missing
  create,      ///< reading and writing; made if missing
  overwrite,   ///< reading and writing; made if missing, cut to nothing if not
  create_new,  ///< reading and writing; must not exist, in lower or upper case either
};

/// A descriptor above 2 in the place of `fd`, which may be negative.
Fd above_stdio(int fd);

/// Opens the file; `mode` is that of a file made here, less the umask.
Fd open_file(std::string_view path, Open how, mode_t mode = 0666);

/// Bytes read, fewer than `size` only at the end of the file; -1 on error.
ssize_t read_some(const Fd& fd, void* buffer, size_t size);
/// The same from a position, which doesn't move the descriptor's own.
ssize_t read_at(const Fd& fd, void* buffer, size_t size, uint64_t position);
/// One read from the start of the file: bytes, maybe fewer than there are; -1 on error, and for what has no
/// start, such as a pipe.
ssize_t read_head(const Fd& fd, void* buffer, size_t size);
bool write_all(const Fd& fd, std::string_view bytes);
bool write_at(const Fd& fd, std::string_view bytes, uint64_t position);
/// The whole file; nothing if it can't be opened or read, or is larger than `limit`.
std::optional<std::string> read_file(std::string_view path, uint64_t limit = UINT64_MAX);

/// Size of an open file; -1 on error. The position stays.
int64_t file_length(const Fd& fd);
/// Cuts the file at `position`.
bool truncate_at(const Fd& fd, uint64_t position);
/// Brings what was written to the disk.
bool flush_to_disk(const Fd& fd);
/// Brings the directory that holds `path` to the disk, that is, the names of files made in it.
bool flush_directory_of(std::string_view path);
/// Gives `file` the mode and, where that is allowed, the owner of `like`.
bool take_mode_and_owner(const Fd& file, const Fd& like);

struct FileInfo {
  uint64_t size = 0;
  std::time_t mtime = 0;  ///< seconds since the epoch
  long mtime_ns = 0;      ///< and the nanoseconds behind them
  bool is_directory = false;
  bool is_plain = false;  ///< a plain file: no directory, pipe or device
  uint64_t device = 0;
  uint64_t inode = 0;
};

/// True if both tell of one file, whatever it holds.
constexpr bool same_file(const FileInfo& a, const FileInfo& b) {
  return a.device == b.device && a.inode == b.inode;
}

FileInfo info_of(const struct stat& st);
/// Follows symbolic links.
std::optional<FileInfo> file_info(std::string_view path);
std::optional<FileInfo> file_info(const Fd& fd);
bool file_exists(std::string_view path);
/// An existing directory that can be entered.
bool is_enterable_dir(std::string_view path);

bool remove_file(std::string_view path);
bool make_directory(std::string_view path);
/// Never replaces a file: errno EEXIST if `to` stands, in lower or upper case either.
bool rename_file(std::string_view from, std::string_view to);

/// Puts the finished file `from` in the place of `to` in one step; `to` may be missing. The file keeps the
/// mode and, where that is allowed, the owner of the one that it replaces. With `durable` it is flushed to
/// the disk before it takes its place, and so is the directory behind it.
bool replace_file(std::string_view from, std::string_view to, bool durable);

/// Writes a file that is ours alone whole or not at all: built beside the old one as `<path>.#` with `mode`,
/// flushed, and put in its place. On failure the old one stands.
bool rewrite_file(std::string_view path, std::string_view bytes, mode_t mode);
/// The same of bytes that lie apart.
bool rewrite_file(std::string_view path, std::initializer_list<std::string_view> pieces, mode_t mode);

/// The text of errno's value.
std::string system_error(int error);

}  // namespace quelmo
