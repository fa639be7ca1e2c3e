// Script functions that put the message in memory into another area, and that delete it.
#pragma once

#include "core/script_call.h"

namespace quelmo {

void perl_Move(ScriptCall& call);
void perl_CopyArea(ScriptCall& call);
void perl_Kill(ScriptCall& call);

}  // namespace quelmo
