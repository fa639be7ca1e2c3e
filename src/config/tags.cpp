#include "config/tags.h"

#include <unordered_map>

#include "core/stop.h"
#include "platform/bytes_case.h"

namespace quelmo {
namespace {

std::unordered_map<std::string, int, NoCaseHash, NoCaseEqual> tags;  // tag to type

}  // namespace

void define_tag(int type, std::string_view tag, const std::string& prefix) {
  auto [entry, fresh] = tags.try_emplace(std::string(tag), type);
  if (!fresh && entry->second != type) {
    stop_run_logged("%s duplicate block name `%s'\n", prefix.c_str(), std::string(tag).c_str());
  }
}

int tag_type(std::string_view tag) {
  auto entry = tags.find(tag);
  return entry != tags.end() ? entry->second : -1;
}

bool forget_tag(std::string_view tag) {
  auto entry = tags.find(tag);
  if (entry == tags.end()) return false;
  tags.erase(entry);
  return true;
}

void free_tags() {
  tags.clear();
}

}  // namespace quelmo
