// The scratch files of an outbound: mail for a bink area waits in them until the outbound is built.
#pragma once

#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

/// Writes a message, with the files that it attaches or requests, into the scratch directory of `area`.
/// False, logged, on failure.
bool writeOIP(const Area& area, const Msg& msg, const LineList& text);

}  // namespace quelmo
