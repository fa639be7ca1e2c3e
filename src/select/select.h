// Select, SelectFrom and SelectTo: the questions that scripts ask of the message in memory and of the system
// around it.
//
// A select string, its macros expanded, is a row of prefixes and then the tag of a data block, or with `@` a
// data type and the data itself ("@NAME Sysop"). `!` inverts the answer, `~` relaxes the comparison; each
// prefix stands at most once, in any order, with blanks behind it as one likes.
#pragma once

#include <string_view>

#include "core/script_call.h"
#include "select/predicates.h"

namespace quelmo {

/// Answers the select string `text` for one side of the message; `label` stands in front of its messages. A
/// fault of the string stops the run. Without a message in memory the answer is false, whatever the prefixes,
/// unless the data type needs none.
bool do_select(std::string_view text, const char* label, Side side);

/// Gives 1 if the sender's side or else the addressee's side fits, else 0.
void perl_Select(ScriptCall& call);
void perl_SelectFrom(ScriptCall& call);
void perl_SelectTo(ScriptCall& call);

}  // namespace quelmo
