// A look at a JAM base from outside, for quelmo-base: the list of its messages, or what is wrong with it.
#pragma once

#include <string_view>

#include "bases/look.h"

namespace quelmo {

/// Looks at the base at `path`, its name without extension. The check goes over head, index, headers,
/// subfields, texts, counts and CRCs; of a base beside which an interrupted pack has left its image it says
/// which of the two is whole. False, with the reason on stderr, if the base can't be read.
bool jam_look(std::string_view path, Look& look);

}  // namespace quelmo
