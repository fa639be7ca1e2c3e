// The small grammars that lines of data blocks share with direct data of select strings, and the steps that
// all block handlers have in common.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "select/data_blocks.h"
#include "select/data_types.h"

namespace quelmo {

// Each parser gives false for a bad text; what it fills holds nothing useful then.

/// Bytes: a number, with a final `k` or `m` (either case) times 1024 or 1048576. What doesn't fit into 32
/// bits is the nearest value that does.
bool parse_length(std::string_view text, int32_t& bytes);
/// Seconds: `days:mins`, each side of which may be empty, or `days`. Limited as lengths are.
bool parse_age(std::string_view text, int32_t& seconds);
/// `day.month.year`, each part a number or `*`, at most 8 bytes in all; fills all of `date` but its days of
/// week. A year above 1900 counts less 1900.
bool parse_date(std::string_view text, DateEntry& date);
/// `Sun` to `Sat` in any case, blanks between; the first 7 are kept. One unknown word makes the list bad.
bool parse_days_of_week(std::string_view text, std::vector<int>& dow);

/// Takes the first word off `text`; empty if there is none.
std::string_view take_word(std::string_view& text);

/// The directory of a word `#dir`, with its closing separator; that of FLAGDIR for `#` alone. False if `dir`
/// is no directory that can be entered.
bool dir_of_word(std::string_view word, std::string& dir);

/// The pattern of an entry that names no address: everything.
FtnAddr any_address();

// From here on for block handlers: what is bad stops the run, with `prefix` ahead of the message.

/// The tag as it is stored, upper case and at most 19 bytes, registered for `type`.
FixedText<20> open_block(DataTypeId type, std::string_view tag, const std::string& prefix);

/// Compiles `pattern` if regular expressions are on at this moment; else the result holds nothing.
Regex compile_pattern(std::string_view pattern, const std::string& prefix);

/// `text` as an address that may hold wildcards.
FtnAddr block_address(std::string_view text, const std::string& prefix);

/// Seconds of an age word, of which the first 9 bytes count.
int32_t block_age(std::string_view word, const std::string& prefix);

/// A word that, less a leading "!", is no attribute, FLAGS word or internal flag stops the run.
void check_attr_name(std::string_view word, const std::string& prefix);

/// Adds the entry to the block of this tag, which is made if there is none.
template <class Entry>
void add_entry(BlockList<Entry>& list, std::string_view tag, Entry entry) {
  Block<Entry>* block = find_block(list, tag);
  if (block == nullptr) {
    block = &list.emplace_back();
    block->tag = tag;
  }
  block->entries.push_back(std::move(entry));
}

}  // namespace quelmo
