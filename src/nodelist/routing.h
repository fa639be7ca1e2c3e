// Routing rules: through which address mail for other addresses leaves this system, and with what flavour.
#pragma once

#include <string_view>

#include "core/script_call.h"
#include "message/msg.h"

namespace quelmo {

/// Applies the ROUTING block `tag` to `msg`: `routeto`, `flavor`, the flag ZaLoop. An unknown tag stops the
/// run.
void set_route(std::string_view tag, Msg& msg);

void perl_SetRouting(ScriptCall& call);
void perl_SetFlavor(ScriptCall& call);

}  // namespace quelmo
