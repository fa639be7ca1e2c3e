// The dupe store: which echomail messages each area has seen. A file for each echo tag, `<tag>.dup` under
// DUPEBASEPATH, is an array of records of 48 bytes, the oldest first; DUPESMAXOPEN of them are held in
// memory, DUPESMAXMSG records each.
#pragma once

#include <cstdint>
#include <string_view>

namespace quelmo {

/// True if the area knows the message; else it does from now on. A file that can't be opened or read stops
/// the run.
bool is_dupe(std::string_view tag, uint32_t header_crc, uint32_t msgid_crc, std::string_view msgid);

/// Writes all files back and forgets them. What can't be written is logged.
void flush_db();

}  // namespace quelmo
