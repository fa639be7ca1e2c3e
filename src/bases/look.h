// A base as `quelmo-base` looks at it: without a lock, without a change. It is listed, a line for each
// message, or checked, a line for each fault.
#pragma once

#include <cstdint>

#include "message/msg.h"

namespace quelmo {

struct Look {
  bool check = false;   ///< tell the faults, not the messages
  bool silent = false;  ///< only count them
  uint32_t faults = 0;  ///< so far

  /// A message of the base: number, date, sender, addressee, subject, attributes. Nothing when checking.
  void message(uint32_t number, const Msg& msg) const;
  /// Something wrong: what, and where (file, record, offset, field). Nothing when listing.
  [[gnu::format(printf, 2, 3)]] void fault(const char* format, ...);
};

}  // namespace quelmo
