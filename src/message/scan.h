// The scan of an area: one area is selected, its messages come into memory one after the other.
#pragma once

#include "core/script_call.h"

namespace quelmo {

/// Brings the next message of the selected area into memory, complete (parse.h): true, or false at the end of
/// the area. A message in memory is written back first if need be. `label` stands in the log lines.
bool read_msg(const char* label);

/// Closes the current area, with its time stamp saved, and clears the state of area and message. What is
/// pending must have been written back before.
void reset_globals();

void perl_Scan(ScriptCall& call);
void perl_ReadMsg(ScriptCall& call);
void perl_Rewind(ScriptCall& call);

}  // namespace quelmo
