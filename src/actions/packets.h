// The script functions that step through packets, copy and move them whole, and show and change their
// headers.
#pragma once

#include "core/script_call.h"

namespace quelmo {

void perl_ReadPkt(ScriptCall& call);
void perl_KillPkt(ScriptCall& call);
void perl_CopyPkt(ScriptCall& call);
void perl_MovePkt(ScriptCall& call);
void perl_GetPktHdr(ScriptCall& call);
void perl_SetPktHdr(ScriptCall& call);

}  // namespace quelmo
