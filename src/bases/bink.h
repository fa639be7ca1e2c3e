// Areas that are a mailer's outbound: the packets and the lists of attached files that wait there for other
// systems. A scan takes each of them under its system's busy flag and skips those of a system that is busy.
// What is added to such an area goes to scratch files beside it (outbound/scratch.h). See base_ops.h for what
// the operations promise.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

bool bink_select(const Area& area);
bool bink_read(const char* label);
uint32_t bink_add(const Area& area, const Msg& msg, const LineList& text);
bool bink_update();
bool bink_kill();
void bink_take_route();
void bink_close();

/// The packets and lists of an outbound that aren't empty: of each directory first the packets, then the
/// lists, then those of its points, all in the order of their names.
std::vector<std::string> list_outbound(const Area& area);

}  // namespace quelmo
