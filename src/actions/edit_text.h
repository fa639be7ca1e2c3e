// Script functions that edit the text of the message in memory. The base follows at the next write-back.
#pragma once

#include "core/script_call.h"

namespace quelmo {

/// DeleteLine(what): by body line number, or by text with the prefixes `~` (relaxed), `@` (the text itself,
/// not a TEXTSTRING block), `+` (all lines). 1 if something went.
void perl_DeleteLine(ScriptCall& call);
/// AddLine(text, [line]) and AddHeader(template, [line]): new lines ahead of body line number `line`; 0 is
/// the very start, -1 the end of the body.
void perl_AddLine(ScriptCall& call);
void perl_AddHeader(ScriptCall& call);
/// AddIntl(): an INTL line of both addresses, unless there is one.
void perl_AddIntl(ScriptCall& call);
/// KillKludge([what]): all kludges, or those that fit (with `!`: don't fit) the words or a KLUDGE block.
void perl_KillKludge(ScriptCall& call);
/// SubstText(what, [with]): one text for another, or the pairs of a TEXTSTRING block. 1 if something was
/// replaced.
void perl_SubstText(ScriptCall& call);

}  // namespace quelmo
