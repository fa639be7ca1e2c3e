// Routing: the rules of a ROUTING block say through which address mail for other addresses leaves the system,
// and with what flavour.
#pragma once

#include <string_view>

#include "core/script_call.h"
#include "message/msg.h"

namespace quelmo {

/// Sets `msg.routeto` and adds to or takes from `msg.flavor` by the first rule of the ROUTING block `tag`
/// that has a target fitting `msg.to`; without one the message goes to `msg.to` itself. Then looks for that
/// route in the Via lines of the message in memory: ZaLoop in `msg.intattr` says whether it is there, and
/// Changed is set if that changed it. An unknown tag stops the run.
void set_route(std::string_view tag, Msg& msg);

/// Routes the message in memory by a block; gives undef.
void perl_SetRouting(ScriptCall& call);
/// Sets the flavours named in the argument, clears those with a "!"; gives undef.
void perl_SetFlavor(ScriptCall& call);

}  // namespace quelmo
