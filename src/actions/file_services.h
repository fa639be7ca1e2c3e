// Script functions on files: those of a FILES block, or `@files` and their names. Sysops use them for
// semaphores and small reports.
#pragma once

#include "core/script_call.h"

namespace quelmo {

/// CreateFile(spec): makes the files. Named directly an existing one is cut to nothing; one of a block stays
/// as it is. 1, or 0 if one couldn't be made.
void perl_CreateFile(ScriptCall& call);
/// KillFile(spec): deletes the files. 1, or 0 if one couldn't be deleted.
void perl_KillFile(ScriptCall& call);
/// WriteString(spec, [text]): appends a line, or the lines of an array, to a file.
void perl_WriteString(ScriptCall& call);

}  // namespace quelmo
