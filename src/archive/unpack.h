// Opening incoming bundles.
#pragma once

#include "core/script_call.h"

namespace quelmo {

/// Unpack(source, [workdir]): has the packers take the packets out of the arcmail bundles of the source
/// directories, `@path dir` or those of a PATH block, into the work directory, which stays in force for later
/// calls; without one, into the directory of the bundle. A bundle goes when its packer reports success.
void perl_Unpack(ScriptCall& call);

}  // namespace quelmo
