// Script functions that change the configuration of the run.
#pragma once

#include "core/script_call.h"

namespace quelmo {

/// DefKeyWord(keyword, value): as a line of the configuration.
void perl_DefKeyWord(ScriptCall& call);
/// DefDataBlock(type, tag, \@lines): a data block; one of this type and tag gets the lines added.
void perl_DefDataBlock(ScriptCall& call);
/// ReReadConfig([name]): ends the use of all areas, lists and settings, and reads the configuration anew.
void perl_ReReadConfig(ScriptCall& call);

}  // namespace quelmo
