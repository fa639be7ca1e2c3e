#include "perl/functions.h"

#include <iterator>
#include <string_view>

#include "actions/services.h"

namespace quelmo {
namespace {

// clang-format off
constexpr ScriptFunction table[] = {
    {"Log", "perl_Log()", 2, 2, "\a%s argument count (need 2, exist %d)\n", perl_Log},
    {"SetGlobalVar", "SetGlobalVar()", 2, 2, "%s argument count (need 2, exist %d)\n", perl_SetGlobalVar},
    {"UnSetGlobalVar", "UnSetGlobalVar()", 1, 1, "%s argument count (need 1, exist %d)\n", perl_UnSetGlobalVar},
    {"GetGlobalVar", "GetGlobalVar()", 1, 1, "%s argument count (need 1, exist %d)\n", perl_GetGlobalVar},
};
// clang-format on

constexpr bool rows_are_sound() {
  for (size_t i = 0; i < std::size(table); i++) {
    const ScriptFunction& row = table[i];
    if (row.least < 0 || row.most < row.least) return false;
    if (std::string_view(row.count_message).find("%s argument count") == std::string_view::npos) return false;
    for (size_t j = 0; j < i; j++) {
      if (std::string_view(row.name) == table[j].name) return false;
    }
  }
  return true;
}
static_assert(rows_are_sound());

}  // namespace

std::span<const ScriptFunction> script_functions() {
  return table;
}

}  // namespace quelmo
