// Script functions that rewrite an address of the message in memory, and its kludges with it.
#pragma once

#include <string_view>

#include "core/address.h"
#include "core/script_call.h"

namespace quelmo {

/// Applies an address text to `addr`: prefixes "!" (the pairs of a list apply where the address doesn't
/// match), "~" (the point stays) and "@" (direct data: ADDRESS with one wildcard address, READDRESSLIST with
/// two); else the tag of an ADDRESS or READDRESSLIST block. A fault stops the run before `addr` is touched.
void change_address(std::string_view text, FtnAddr& addr, const char* label);

void perl_ChangeFrom(ScriptCall& call);
void perl_ChangeTo(ScriptCall& call);

}  // namespace quelmo
