// Handing packets over to the mailer: in bundles that external packers make, or as they are.
#pragma once

#include "core/script_call.h"

namespace quelmo {

/// PackPKT(packets, out, [block], ["nomove"]): attaches the packets of a pkt area to the systems that they
/// are for, in a bink area or a file box. A line of the ADDRESSPACKER block says which packer puts them into
/// bundles; without one they are attached as they are. What can't be packed stays.
void perl_PackPKT(ScriptCall& call);

}  // namespace quelmo
