// The second index file, `nodeinc` or `ver9inc`: which nodelist files an index was made of. A record of 20
// bytes for each: length of the name, the name (12 bytes, NULs behind a shorter one), 3 bytes unused, CRC-32
// of the file. On disk: never change.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/fixed_text.h"
#include "select/data_blocks.h"

namespace quelmo {

constexpr size_t list_record_size = 20;

struct ListRecord {
  uint8_t length = 0;
  std::string name;  ///< at most 12 bytes
  uint32_t crc = 0;
};

/// Takes a record apart; false if `bytes` aren't a whole one.
bool parse_list_record(std::string_view bytes, ListRecord& record);
/// The records of nodelist files, by name and CRC.
std::string list_records(const std::vector<std::string>& names, const std::vector<uint32_t>& crcs);

/// What differs between the two kinds of index.
struct IndexKind {
  const char* index;  ///< "nodeidx."
  const char* lists;  ///< "nodeinc."
  const char* trace;  ///< in front of its messages: "ndl" or "v9"
  const char* checking;
  const char* rebuilding;
  int rebuilding_level;
  const char* rebuilt;  ///< logged behind a rebuild; null for nothing
  const char* failed;
  /// True if the index itself is whole: it can be read, and what it points to is there.
  bool (*sound)(const NodelistEntry& entry);
  /// Makes both files anew, of the files `entry.names`; false if that failed.
  bool (*build)(const NodelistEntry& entry);
};

/// Holds the index of an entry against the files `entry.names`.
bool index_is_current(const IndexKind& kind, const NodelistEntry& entry);

/// Checks the index of a line of a block, whose `names` are resolved, and rebuilds it if it is stale. A
/// rebuild that fails stops the run.
void check_index(const IndexKind& kind, const NodelistEntry& entry);

/// The file that record `i` of `nodeinc` stands for: its name, or, if that is longer than a record holds, the
/// name of the entry's that begins so.
std::string list_file(const NodelistEntry& entry, const std::vector<ListRecord>& records, size_t i);

constexpr unsigned index_file_mode = 0600;

}  // namespace quelmo
