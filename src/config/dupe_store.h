// The dupe store: which echomail messages each area has seen. A file for each echo tag, `<tag>.dup` under
// DUPEBASEPATH, is an array of records of 48 bytes, the oldest first; DUPESMAXOPEN of them are held in
// memory, DUPESMAXMSG records each.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/fixed_text.h"

namespace quelmo {

/// A message seen. On disk: never change.
struct DupeRecord {
  uint32_t header_crc = 0;
  uint32_t msgid_crc = 0;
  FixedText<40> msgid;
};
constexpr size_t dupe_record_size = 48;

template <class Io, class Record>
void fields(Io& io, Record& r) requires requires {
  r.header_crc;
}
{
  io.u32(r.header_crc);
  io.u32(r.msgid_crc);
  io.text(r.msgid, 40);
}

/// True if the area knows the message; else it does from now on. A file that can't be opened or read stops
/// the run.
bool is_dupe(std::string_view tag, uint32_t header_crc, uint32_t msgid_crc, std::string_view msgid);

/// Writes all files back and forgets them. What can't be written is logged.
void flush_db();

}  // namespace quelmo
