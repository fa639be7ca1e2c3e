// Time stamps of areas: how far a scan has read a fido, squish or JAM area, kept from run to run in a file
// that `Scan` names. A record has 24 bytes: tag[20], NUL-filled, and a 32-bit little-endian stamp (seconds).
#pragma once

#include <cstdint>
#include <string_view>

namespace quelmo {

/// Makes the entry of an area, with stamp 0, if it has none yet.
void add_ts_entry(std::string_view tag);

/// Sets the entry's stamp; an unknown tag is only traced.
void set_ts(std::string_view tag, uint32_t maxts);
/// The entry's stamp; 0 for an unknown tag.
uint32_t get_ts(std::string_view tag);

/// Reads a file, and keeps it as the one to write: all stamps start at 0 and take what the whole records of
/// the file say; tags without an area are passed over. The file is made if it is missing (mode 0600). If it
/// can't be opened time stamps stay off, without a message.
void read_tsfile(std::string_view name);
/// True while a file is kept, that is, while time stamps are in use.
bool ts_in_use();
/// Writes the kept file anew, whole or not at all, one record for each entry, and keeps it no longer.
void write_tsfile();

/// Forgets entries and file.
void free_ts_list();

}  // namespace quelmo
