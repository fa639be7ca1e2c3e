#include "platform/lock.h"

#include <fcntl.h>
#include <unistd.h>

namespace quelmo {
namespace {

int set_lock(const Fd& fd, short type, uint64_t offset, uint64_t length) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(offset);
  lock.l_len = static_cast<off_t>(length);
  return ::fcntl(fd.get(), F_OFD_SETLK, &lock) == 0 ? 0 : -1;
}

}  // namespace

int lock_region(const Fd& fd, uint64_t offset, uint64_t length) {
  return set_lock(fd, F_WRLCK, offset, length);
}

int unlock_region(const Fd& fd, uint64_t offset, uint64_t length) {
  return set_lock(fd, F_UNLCK, offset, length);
}

}  // namespace quelmo
