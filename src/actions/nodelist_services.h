// Script functions that ask nodelists.
#pragma once

#include "core/script_call.h"

namespace quelmo {

void perl_GetNodelistRecord(ScriptCall& call);
void perl_GetUplink(ScriptCall& call);
void perl_GetNodelistBlock(ScriptCall& call);
void perl_NdlReBuild(ScriptCall& call);
void perl_ActiveNodelist(ScriptCall& call);
void perl_SetFboxPath(ScriptCall& call);

}  // namespace quelmo
