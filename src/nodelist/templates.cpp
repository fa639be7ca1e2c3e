#include "nodelist/templates.h"

#include <ctime>
#include <utility>

#include "core/text.h"
#include "platform/directory.h"

namespace quelmo {
namespace {

std::string_view extension(std::string_view name) {
  size_t point = name.rfind('.');
  return point == std::string_view::npos ? std::string_view() : name.substr(point + 1);
}

bool all_digits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Directory dates have a grain of two seconds on the systems that nodelists are made for; within it the
// number decides.
std::pair<std::time_t, long> rank(const FoundFile& file) {
  constexpr std::time_t grain = 2;
  return {file.mtime / grain, to_number(extension(file.name))};
}

std::string newest_numbered(const std::vector<FoundFile>& files) {
  const FoundFile* choice = nullptr;
  for (const FoundFile& file : files) {
    if (!all_digits(extension(file.name))) continue;
    if (choice == nullptr || rank(file) > rank(*choice)) choice = &file;
  }
  return choice != nullptr ? choice->name : std::string();
}

}  // namespace

int resolve_templates(std::string_view path, std::string_view templates, std::vector<std::string>& names) {
  constexpr size_t most = 10;
  names.clear();
  for (std::string& word : split_words(templates, most)) {
    if (word.find('.') == std::string::npos) word += ".???";
    bool numbered = extension(word) == "???" || extension(word).starts_with('*');
    std::vector<FoundFile> files = find_files(std::string(path) + word);
    std::string name = numbered ? newest_numbered(files) : (files.empty() ? "" : files.front().name);
    if (name.empty()) return 0;
    names.push_back(std::move(name));
  }
  return static_cast<int>(names.size());
}

}  // namespace quelmo
