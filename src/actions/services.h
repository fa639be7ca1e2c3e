// Script functions that stand by themselves: the log and the global variables.
#pragma once

#include "core/script_call.h"

namespace quelmo {

/// Log(level, text): a log line; the text is taken as it is.
void perl_Log(ScriptCall& call);

/// SetGlobalVar(name, value), UnSetGlobalVar(name), GetGlobalVar(name): see config/global_vars.h. Nothing is
/// trimmed or expanded.
void perl_SetGlobalVar(ScriptCall& call);
void perl_UnSetGlobalVar(ScriptCall& call);
void perl_GetGlobalVar(ScriptCall& call);

}  // namespace quelmo
