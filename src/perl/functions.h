// The table of script functions: what scripts may call, and with how many arguments. The manual page of the
// functions is held against it.
#pragma once

#include <span>

#include "core/script_call.h"

namespace quelmo {

constexpr int any_number = 0x7FFFFFFF;

struct ScriptFunction {
  const char* name;           ///< in the package `main`
  const char* label;          ///< what messages call it
  int least;                  ///< accepted number of arguments
  int most;                   ///< any_number: without limit
  const char* count_message;  ///< for any other number: takes label and number; the run stops behind it
  void (*run)(ScriptCall& call);
};

/// In the order of registration.
std::span<const ScriptFunction> script_functions();

}  // namespace quelmo
