// Macros in texts of the configuration and of scripts: %NAME% and %%NAME%%. A macro names a field of the
// message in memory, of the message as it was read (OLD...), a clock value, an entry of a MACRO block, a
// global variable, or, in the single-percent form, an environment variable. What names nothing stays as it
// stands.
#pragma once

#include <string>
#include <string_view>

#include "core/script_call.h"

namespace quelmo {

/// Expands %%NAME%%, then %NAME% with values expanded in their turn. A text of more than 255 bytes stays as
/// it is, and a result is cut to 255 bytes with a log line. Serves the configuration and most script
/// functions.
void expand_config(std::string& text);

/// Expands %NAME% eleven times over, then %%NAME%% once, in a text of any length. Serves the options of
/// messages, the elements of script arrays and ExpandMacro.
void expand_macro(std::string& text);

/// One pass of `expand_macro`: each name between two delimiters gives way to its value, which isn't looked at
/// again.
void expand_pass(std::string_view delimiter, std::string& text);

/// The value of a macro for `expand_config`, at most 255 bytes: 1, or 0 if the name has none.
int macro_value(std::string_view name, std::string& out);
/// The value of a macro for `expand_macro`; `name` is replaced by it: 1, or 0 if the name has none.
int macro_lookup(std::string& name);

/// An argument as most script functions take it: trimmed, then `expand_config`.
std::string expanded_arg(const ScriptCall& call, int i);

}  // namespace quelmo
