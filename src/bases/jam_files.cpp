#include "bases/jam_files.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "core/log.h"
#include "core/stop.h"
#include "message/current.h"
#include "platform/lock.h"

namespace quelmo {

bool jam_fail(JamError error) {
  current.jam_errno = error;
  return false;
}

bool open_jam(std::string_view path, Open how, JamScan& scan) {
  WindowedFile* files[] = {&scan.jhr, &scan.jdt, &scan.jdx};
  for (size_t i = 0; i < std::size(files); i++) {
    std::string name = std::string(path) + jam_extensions[i];
    files[i]->fd = open_file(name, how);
    if (files[i]->fd) continue;
    report_errno(name);
    log_line(0, "openJAM: error opening *%s file", jam_extensions[i]);
    for (WindowedFile* file : files) file->fd.reset();
    return false;
  }
  return true;
}

bool read_jam_info(const WindowedFile& jhr, JAMHDRINFO& info) {
  std::string bytes;
  if (!jam_read_at(jhr.fd, 0, jam_info_size, bytes)) return false;
  info = jam_decode<JAMHDRINFO>(bytes);
  if (info.Signature != jam_signature) return jam_fail(jam_bad_signature);
  if (info.BaseMsgNum == 0) info.BaseMsgNum = 1;
  return true;
}

bool measure_jam(JamScan& scan) {
  for (WindowedFile* file : {&scan.jhr, &scan.jdt, &scan.jdx}) {
    int64_t length = file_length(file->fd);
    if (length < 0) return jam_fail(jam_seek_failed);
    file->length = static_cast<uint64_t>(length);
  }
  return true;
}

std::optional<std::string_view> window_at(WindowedFile& file, uint64_t position, size_t size) {
  if (size == 0) return std::string_view();
  if (position + size > file.length) {
    // Another program may have added to the file since.
    file.length = static_cast<uint64_t>(std::max<int64_t>(file_length(file.fd), 0));
    if (position + size > file.length) return std::nullopt;
  }
  std::optional<std::string_view> bytes = file.window.at(file.fd, position, size);
  if (bytes && bytes->size() < size) return std::nullopt;
  return bytes;
}

bool load_jam_header(WindowedFile& jhr, uint32_t offset, JAMHDR& hdr) {
  std::optional<std::string_view> bytes = window_at(jhr, offset, jam_header_size);
  if (!bytes) return jam_fail(jam_read_failed);
  hdr = jam_decode<JAMHDR>(*bytes);
  // The head of the base has the same signature, and is no message.
  if (offset < jam_info_size || hdr.Signature != jam_signature) return jam_fail(jam_bad_signature);
  return hdr.Revision == jam_revision || jam_fail(jam_bad_revision);
}

bool jam_read_at(const Fd& file, uint64_t position, size_t size, std::string& bytes) {
  bytes.resize(size);
  return read_at(file, bytes.data(), size, position) == static_cast<ssize_t>(size) ||
         jam_fail(jam_read_failed);
}

bool jam_write_at(const Fd& file, std::string_view bytes, uint64_t position) {
  return bytes.empty() || write_at(file, bytes, position) || jam_fail(jam_write_failed);
}

JamLock::JamLock(const Fd& jhr, bool tell) : jhr_(jhr), tell_(tell), held_(lock_region(jhr, 0, 1) == 0) {
  if (held_) {
    log_line(3, "JAM base locked OK\n");
  } else {
    log_line(0, "error locking JAM base\n");
    jam_fail(jam_lock_failed);
  }
}

JamLock::~JamLock() {
  if (!held_) return;
  if (unlock_region(jhr_, 0, 1) != 0) {
    log_line(0, "error unlocking JAM base\n");
  } else if (tell_) {
    log_line(3, "JAM base unlocked OK\n");
  }
}

}  // namespace quelmo
