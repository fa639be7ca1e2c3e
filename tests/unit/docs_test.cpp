// The manual pages tell of every function, keyword and data type that there is, and of no other function.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>

#include "config/keywords.h"
#include "message/attributes.h"
#include "perl/functions.h"
#include "select/data_types.h"

namespace quelmo {
namespace {

std::string page(const std::string& name) {
  std::ifstream in(std::string(DOCS) + "/" + name);
  return {std::istreambuf_iterator<char>(in), {}};
}

// The accepted numbers of arguments that a heading such as "Move(AREA [, OPTION]...)" tells.
std::pair<int, int> counts(std::string arguments) {
  bool any = arguments.find("...") != std::string::npos;
  size_t optional = arguments.find('[');
  std::string required = arguments.substr(0, optional);
  auto words = [](const std::string& text) {
    int count = 0;
    bool inside = false;
    for (char c : text) {
      bool letter = c >= 'A' && c <= 'Z';
      if (letter && !inside) count++;
      inside = letter;
    }
    return count;
  };
  return {words(required), any ? any_number : words(arguments)};
}

TEST(Docs, EveryFunctionStandsInItsPageWithItsArguments) {
  std::map<std::string, std::pair<int, int>> told;
  std::ifstream in(std::string(DOCS) + "/functions.pod");
  for (std::string line; std::getline(in, line);) {
    if (!line.starts_with("=head2 ") || line.find('(') == std::string::npos) continue;
    size_t open = line.find('(');
    std::string name = line.substr(7, open - 7);
    EXPECT_TRUE(told.emplace(name, counts(line.substr(open))).second) << name << " stands twice";
  }
  for (const ScriptFunction& function : script_functions()) {
    auto entry = told.find(function.name);
    ASSERT_NE(entry, told.end()) << function.name;
    EXPECT_EQ(entry->second.first, function.least) << function.name;
    EXPECT_EQ(entry->second.second, function.most) << function.name;
  }
  EXPECT_EQ(told.size(), script_functions().size());
}

bool has_word(const std::string& text, const std::string& word) {
  auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); };
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    size_t end = at + word.size();
    if ((at == 0 || !letter(text[at - 1])) && (end == text.size() || !letter(text[end]))) return true;
  }
  return false;
}

TEST(Docs, EveryKeywordDataTypeAndAttributeIsNamed) {
  std::string configuration = page("quelmo.cfg.pod");
  for (const Keyword& keyword : keywords()) {
    std::string name = keyword.id == kw_end ? "END" : keyword.name;
    EXPECT_TRUE(has_word(configuration, name)) << name;
  }
  for (const DataType& type : data_types()) EXPECT_TRUE(has_word(configuration, type.name)) << type.name;
  std::string functions = page("functions.pod");
  for (auto table : {attr_table(), flags_table(), intattr_table()}) {
    for (const BitName& entry : table) EXPECT_NE(functions.find(entry.name), std::string::npos) << entry.name;
  }
}

}  // namespace
}  // namespace quelmo
