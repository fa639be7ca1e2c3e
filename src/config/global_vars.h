// Text variables that scripts set and that outlive them; macros too (message/macros.h). Names ignore case.
#pragma once

#include <string>
#include <string_view>

namespace quelmo {

void set_global_var(std::string_view name, std::string_view value);
void unset_global_var(std::string_view name);

/// The value; null if the variable isn't set.
const std::string* global_var(std::string_view name);

/// The first 255 bytes of the value, as a macro shows it; 1, or 0 if the variable isn't set.
int global_var_value(std::string_view name, std::string& out);

void free_global_vars();

}  // namespace quelmo
