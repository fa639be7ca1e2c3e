// The files of a JAM base: opening, the lock, reading and writing of single records. Each function that fails
// says why in `current.jam_errno`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bases/jam_records.h"
#include "message/scan_state.h"

namespace quelmo {

/// Sets `current.jam_errno`; false, for a caller to give back.
bool jam_fail(JamError error);

/// Opens the three files of the base at `path`. False, logged at level 0 and with the reason on stderr, if
/// one can't be; then none is open.
bool open_jam(std::string_view path, Open how, JamScan& scan);

/// Reads the head from the disk; a BaseMsgNum of 0 counts as 1. False if it is cut short or isn't that of a
/// JAM base.
bool read_jam_info(const WindowedFile& jhr, JAMHDRINFO& info);
/// Notes the lengths of the three files.
bool measure_jam(JamScan& scan);

/// The `size` bytes at `position`, through the file's window; nothing if the file ends before. Memory is
/// taken only for what the file holds.
std::optional<std::string_view> window_at(WindowedFile& file, uint64_t position, size_t size);

/// The message header at `offset`, through the window. False with read failure, bad signature or bad
/// revision.
bool load_jam_header(WindowedFile& jhr, uint32_t offset, JAMHDR& hdr);

/// Exactly `size` bytes at `position` from the disk, whatever a window holds. The size has been held against
/// the file's length.
bool jam_read_at(const Fd& file, uint64_t position, size_t size, std::string& bytes);
bool jam_write_at(const Fd& file, std::string_view bytes, uint64_t position);

/// The lock of a base, byte 0 of .jhr, that all programs of the field take for a write; it falls at the end
/// of the object's life. A lock that somebody else holds is logged at level 0.
class JamLock {
 public:
  /// `tell`: log the release, too.
  JamLock(const Fd& jhr, bool tell);
  ~JamLock();
  JamLock(const JamLock&) = delete;
  JamLock& operator=(const JamLock&) = delete;

  explicit operator bool() const { return held_; }

 private:
  const Fd& jhr_;
  bool tell_;
  bool held_;
};

}  // namespace quelmo
