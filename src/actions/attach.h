// File attaches: the files that the subject of a message names.
#pragma once

#include "core/script_call.h"

namespace quelmo {

/// CheckPath(paths): looks for the files of the subject in the directories of a PATH block, or of `@path
/// dir...`, and writes their full names into it. What doesn't fit goes into further mails of the same area. 1
/// if all files were found.
void perl_CheckPath(ScriptCall& call);

}  // namespace quelmo
