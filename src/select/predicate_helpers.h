// What the tests of predicates.h share.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "core/stop.h"
#include "message/current.h"
#include "message/macros.h"
#include "select/compare.h"
#include "select/data_blocks.h"
#include "select/predicates.h"

namespace quelmo {

inline const FtnAddr& side_address(const SelectQuery& query) {
  return query.side == Side::from ? current.hdr.from : current.hdr.to;
}
inline const FixedText<36>& side_name(const SelectQuery& query) {
  return query.side == Side::from ? current.hdr.fromname : current.hdr.toname;
}

/// The block that a query names; without one the run stops with `complaint` and the tag.
template <class Entry>
const Block<Entry>& asked_block(BlockList<Entry>& list, const SelectQuery& query, const char* complaint) {
  const Block<Entry>* block = find_block(list, query.data);
  if (block == nullptr) stop_run("%s : `%s'\n", complaint, std::string(query.data).c_str());
  return *block;
}

/// True if one of its entries passes `test`.
template <class Entry, class Test>
bool any_entry(BlockList<Entry>& list, const SelectQuery& query, const char* complaint, Test test) {
  return std::ranges::any_of(asked_block(list, query, complaint).entries, test);
}

/// Calls `test` with a text of a block, its macros expanded; without a macro it isn't copied.
template <class Test>
bool with_macros(std::string_view text, Test test) {
  if (text.find('%') == std::string_view::npos) return test(text);
  std::string expanded(text);
  expand_config(expanded);
  return test(std::string_view(expanded));
}

/// True if a text of the message fits an entry: its expression, or else its text.
inline bool text_fits(std::string_view text, std::string_view pattern, const Regex& regex, bool relaxed) {
  if (regex) return regex.matches(text);
  return with_macros(pattern, [&](std::string_view whole) { return comp_str(text, whole, relaxed); });
}

/// True if `when` lies further back than `age` seconds. Times count as unsigned numbers of 32 bits; an age
/// that reaches back behind their start finds nothing old.
bool older_than(std::time_t when, int32_t age);

}  // namespace quelmo
