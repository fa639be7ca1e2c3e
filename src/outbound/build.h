// Building a mailer's outbound: what is gathered in the scratch directory (outbound/scratch.h) goes into the
// packets, lists and requests of each system, while the system's busy flag is held. What is for a busy system
// waits for another run.
#pragma once

#include <string_view>

#include "config/areas.h"
#include "core/script_call.h"

namespace quelmo {

/// All packets, then all attached files, then all requests, each kind in the order of its names. Whatever
/// can't be brought in stays in the scratch directory, with the reason logged; a file leaves it when its
/// contents stand in the outbound.
void do_outbound(const Area& area);

enum class Appended { done, not_opened, not_written };

/// Adds lines to a list, behind a line end if its last line has none; the list is made if it is missing. What
/// can't be written whole isn't written.
Appended append_to_list(std::string_view path, std::string_view lines);

/// DoBinkOutbound(area) and its siblings: as do_outbound. The layout is the area's own.
void perl_DoBinkOutbound(ScriptCall& call);
void perl_DoBrakeOutbound(ScriptCall& call);
void perl_DoAmiga4DOutbound(ScriptCall& call);

/// isBusy(area, address): 1 if the busy flag of the system stands, whatever IGNOREBSY says.
void perl_isBusy(ScriptCall& call);

}  // namespace quelmo
