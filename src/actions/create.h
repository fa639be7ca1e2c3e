// Script functions that make or remake a whole message: a new one, a reply to the sender in the place of the
// current one, a changed one in its place.
#pragma once

#include "core/script_call.h"

namespace quelmo {

void perl_CreateMail(ScriptCall& call);
void perl_Bounce(ScriptCall& call);
void perl_ChangeMail(ScriptCall& call);

}  // namespace quelmo
