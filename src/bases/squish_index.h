// The index of a Squish base: taken into memory by a scan, added to, written back.
//
// What goes wrong is in sq_errno; the functions then give false or nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bases/squish_frames.h"
#include "message/scan_state.h"

namespace quelmo {

/// Takes the index into `scan.list` and locks it, unless the scan has it. False with errors 12, 24, or 16, 14
/// or 15 where it doesn't hold `num_msg` records; `found` is the number of records before the fault, -1 for
/// the first two. Records of messages that are no more, left by a scan that was killed, are dead entries.
bool own_index(SqScan& scan, uint32_t num_msg, int64_t& found);

/// The list entry gets a dead message, or a new offset or hash.
void mark_dead(SqScan& scan, size_t entry);
void mark_moved(SqScan& scan, size_t entry);

/// Number of the index record, from 0, that a new message gets. The list of a scan may hold messages that the
/// base has no more, and other programs add to the file meanwhile; without a scan the index has to fit the
/// base.
std::optional<uint64_t> new_record(const Fd& sqi, const SqScan* scan, const SqBase& base);
bool write_sqidx(const Fd& sqi, uint64_t number, const SqIdx& record);

/// Writes an index over the old one, then cuts the file.
bool write_index(const Fd& sqi, std::string_view bytes);

/// An index without the record of the message at `offset`. Stops the run if it has none.
std::optional<std::string> index_without(const Fd& sqi, uint32_t offset);
/// The stop: the oldest message of a base isn't in its index.
[[noreturn]] void stop_not_in_index(uint32_t offset);

/// The index as it is to be: what the file has now, with the kills and moves of the scan.
bool merged_index(const SqScan& scan, std::string& out);

}  // namespace quelmo
