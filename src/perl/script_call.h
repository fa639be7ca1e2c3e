// The door between Perl and the script functions.
#pragma once

#include <string>

#include "perl/perl_api.h"

namespace quelmo {

/// Defines all script functions in the package `main`.
void define_script_functions(pTHX);

/// The bytes of a scalar that needs no code of the script to be read (neither tied nor overloaded), up to its
/// first NUL. A wide character counts as `?`; `wide` becomes true if there was one.
std::string plain_text(pTHX_ SV* scalar, bool& wide);

/// True while a script function is at work, so that the script's code that runs now was called by it.
bool function_at_work();

}  // namespace quelmo
