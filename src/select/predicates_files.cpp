#include "core/log.h"
#include "core/run_state.h"
#include "core/text.h"
#include "platform/directory.h"
#include "platform/path.h"
#include "select/block_parsers.h"
#include "select/predicate_helpers.h"

namespace quelmo {
namespace {

// The files of a template. A name without wildcards needs no listing of its directory.
std::vector<FoundFile> template_files(std::string_view spec) {
  if (file_part(spec).find_first_of("*?") != std::string_view::npos) return find_files(spec);
  std::optional<FileInfo> info = file_info(spec);
  if (!info || info->is_directory) return {};
  return {{.name = std::string(file_part(spec)), .size = info->size, .mtime = info->mtime}};
}

// True if a file of the template is older than the age. File dates count with the two-second grain of the
// directories that file times were first kept in.
bool old_file(std::string_view spec, int32_t age) {
  constexpr int32_t day = 86400;
  for (const FoundFile& file : template_files(spec)) {
    if (!older_than(file.mtime - file.mtime % 2, age)) continue;
    log_line(4, "select_fage: `%s' is older than %lu days\n", file.name.c_str(),
             static_cast<unsigned long>(age / day));
    return true;
  }
  return false;
}

bool direct_fage(std::string_view words) {
  std::string_view word = take_word(words);
  int32_t age = 0;
  if (!parse_age(word, age)) {
    stop_run("select_fage error: (direct data), incorrect age : `%s'", std::string(word).c_str());
  }
  while (next_word(words, word)) {
    std::string spec;
    if (word == "#") {
      if (!next_word(words, word)) return false;
      spec = config.flag_dir.view();
    }
    spec += word;
    if (old_file(spec, age)) return true;
  }
  return false;
}

// Existence of a file; with a leading "!", its absence.
bool plain_file_fits(std::string_view name) {
  bool wanted = !name.starts_with('!');
  if (!wanted) name.remove_prefix(1);
  return file_exists(name) == wanted;
}

bool named_file_fits(const FileName& file) {
  if (!file.regex) return with_macros(file.name, plain_file_fits);
  bool wanted = !file.name.view().starts_with('!');
  std::vector<FoundFile> found = find_files(file.dir.str() + "*");
  return std::ranges::any_of(found, [&](const FoundFile& f) { return file.regex.matches(f.name); }) == wanted;
}

bool direct_files(std::string_view words) {
  std::string dir;
  if (words.starts_with('#')) {
    std::string_view word = take_word(words);
    if (!dir_of_word(word, dir)) {
      log_line(0, "select_files error: path doesn't exist : `%s'\n", std::string(word.substr(1)).c_str());
      return false;
    }
  }
  if (words.empty()) stop_run("select_files error: no filename defined\n");
  std::string_view word;
  while (next_word(words, word)) {
    bool absent = word.starts_with('!');
    if (absent) word.remove_prefix(1);
    std::string name = (absent ? "!" : "") + dir + std::string(word);
    if (!plain_file_fits(name)) return false;
  }
  return true;
}

}  // namespace

bool select_fage(const SelectQuery& query) {
  if (query.direct) return direct_fage(query.data);
  return any_entry(
      blocks.fileage, query, "select_fage error: no such <Data FileAge>", [](const FileAgeEntry& entry) {
        return std::ranges::any_of(entry.names, [&](const FixedText<256>& name) {
          return with_macros(name, [&](std::string_view spec) { return old_file(spec, entry.age); });
        });
      });
}

bool select_files(const SelectQuery& query) {
  if (query.direct) return direct_files(query.data);
  return any_entry(blocks.files, query, "select_files error: no such <Data Files>",
                   [](const FilesEntry& entry) { return std::ranges::all_of(entry.names, named_file_fits); });
}

}  // namespace quelmo
