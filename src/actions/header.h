// Script functions that look at the message in memory and change its header. They read and write `hdr` and
// the text in memory only; a change reaches the base at the next write-back.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/script_call.h"
#include "select/data_blocks.h"

namespace quelmo {

/// The attribute fields of a message, as SetAttribute and the option -a work on them.
struct AttrWords {
  uint16_t attr = 0;
  uint16_t flags = 0;
  uint32_t intattr = 0;
};

/// Sets the bit of a word in the field whose table knows it, or clears it if the word begins with "!".
/// `!Intl` does nothing. A word that no table knows stops the run.
void set_attr_word(std::string_view word, AttrWords& copies);

/// Applies each word of an ATTRIBUTE block; `inverse` turns "set" and "clear" round. True if "!Changed" was
/// among the words as they were applied.
bool set_attr_block(const Block<AttributeEntry>& block, bool inverse, AttrWords& copies);

void perl_GetText(ScriptCall& call);
void perl_GetKludges(ScriptCall& call);
void perl_GetVias(ScriptCall& call);
void perl_GetMsg(ScriptCall& call);
void perl_GetRawMsg(ScriptCall& call);
void perl_GetHdr(ScriptCall& call);
void perl_GetTo(ScriptCall& call);
void perl_GetFrom(ScriptCall& call);
void perl_GetSubject(ScriptCall& call);
void perl_GetTime(ScriptCall& call);
void perl_GetRouting(ScriptCall& call);
void perl_GetAttribute(ScriptCall& call);
void perl_SetAttribute(ScriptCall& call);
void perl_RouteTo(ScriptCall& call);
void perl_SetMessageTime(ScriptCall& call);
void perl_InvalideTearOrig(ScriptCall& call);
void perl_ZapText(ScriptCall& call);

}  // namespace quelmo
