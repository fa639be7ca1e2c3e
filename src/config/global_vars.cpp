#include "config/global_vars.h"

#include <unordered_map>

#include "platform/bytes_case.h"

namespace quelmo {
namespace {

std::unordered_map<std::string, std::string> global_vars;  // upper-cased name to value

}  // namespace

void set_global_var(std::string_view name, std::string_view value) {
  global_vars[upper(name)] = value;
}

void unset_global_var(std::string_view name) {
  global_vars.erase(upper(name));
}

const std::string* global_var(std::string_view name) {
  auto entry = global_vars.find(upper(name));
  return entry != global_vars.end() ? &entry->second : nullptr;
}

int global_var_value(std::string_view name, std::string& out) {
  constexpr size_t shown = 255;
  const std::string* value = global_var(name);
  if (value == nullptr) return 0;
  out = value->substr(0, shown);
  return 1;
}

void free_global_vars() {
  global_vars.clear();
}

}  // namespace quelmo
