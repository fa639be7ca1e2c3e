// Script functions that stand by themselves: log, global variables, macros, expressions, areas.
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

/// GetCRC(): a checksum of the message in memory, as a signed number of 32 bits; 0 without a message. Of a
/// *.MSG area it is the CRC-32 of the file, of others a running CRC over the text: they compare messages of
/// one area.
void perl_GetCRC(ScriptCall& call);
/// ExpandMacro(text): the text with its macros expanded; the name of a macro alone counts as well.
void perl_ExpandMacro(ScriptCall& call);
/// rxSearch(text, pattern): 1 if the extended regular expression fits; a leading "~" ignores case.
void perl_rxSearch(ScriptCall& call);
/// GetEchoName(): the tag of the AREA line, or undef.
void perl_GetEchoName(ScriptCall& call);
/// GetAreaList(): the tags of all areas but text areas.
void perl_GetAreaList(ScriptCall& call);
/// Renumber([tag]): packs one area, or all of them, the current one excepted.
void perl_Renumber(ScriptCall& call);
/// IgnoreBsy(ON|OFF): whether busy flags of the mailer are passed over.
void perl_IgnoreBsy(ScriptCall& call);
/// RecodeIn(), RecodeOut(): names, subject and all lines but kludges through the table of INTAB or OUTTAB.
void perl_RecodeIn(ScriptCall& call);
void perl_RecodeOut(ScriptCall& call);

}  // namespace quelmo
