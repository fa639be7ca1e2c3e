#include "core/dirs.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "nodelist/lookup.h"
#include "nodelist/templates.h"
#include "platform/files.h"
#include "select/block_handlers.h"
#include "select/block_parsers.h"

namespace quelmo {
namespace {

[[noreturn]] void stop_no_filename(const std::string& prefix) {
  stop_run_logged("%s no filename defined", prefix.c_str());
}

// Takes a word `#dir` off the line; false if it doesn't begin with one. `format` takes prefix and directory.
bool take_dir_word(std::string_view& line, std::string& dir, const char* format, const std::string& prefix) {
  if (!line.starts_with('#')) return false;
  std::string_view word = take_word(line);
  if (!dir_of_word(word, dir)) {
    stop_run_logged(format, prefix.c_str(), std::string(word.substr(1)).c_str());
  }
  return true;
}

// A name under a directory. One that doesn't fit its field would be another file's name.
FixedText<256> joined_name(const std::string& dir, std::string_view name, const std::string& prefix) {
  std::string whole = dir + std::string(name);
  FixedText<256> stored = std::string_view(whole);
  if (whole.size() > stored.limit) {
    stop_run_logged("%s path doesn't exist : `%s'\n", prefix.c_str(), whole.c_str());
  }
  return stored;
}

FileName file_name(std::string_view word, bool under_dir, const std::string& dir, const std::string& prefix) {
  FileName file;
  file.dir = std::string_view(dir);
  std::string_view bare = word;
  bool absent = bare.starts_with('!');
  if (absent) bare.remove_prefix(1);
  file.name = joined_name((absent ? "!" : "") + dir, bare, prefix);
  if (under_dir) file.regex = compile_pattern(bare, prefix);
  if (!absent && !file.regex && log_passes(4) && !file_exists(file.name)) {
    log_line(4, "warning! DATA FILES: file `%s' doesn't exist\n", file.name.c_str());
  }
  return file;
}

// The words of a NODELIST or VERSION9 line from the path on.
void read_lists(NodelistEntry& entry, std::string_view line, const std::string& prefix) {
  std::string path(take_word(line).substr(0, path_limit));
  if (!check_path(path) || path.size() > path_limit) {
    stop_run_logged("%s path not found : `%s'\n", prefix.c_str(), path.c_str());
  }
  entry.path = path;
  if (resolve_templates(entry.path, line, entry.names) == 0) {
    stop_run_logged("%s nodelist file(s) template not found: `%s'\n", prefix.c_str(),
                    std::string(line).c_str());
  }
  entry.templates = line;
}

// Takes the next word if it is a number.
bool take_number(std::string_view& line, uint16_t& number) {
  std::string_view rest = line;
  std::string_view word = take_word(rest);
  if (!is_number(word)) return false;
  number = static_cast<uint16_t>(to_number(word));
  line = rest;
  return true;
}

}  // namespace

void handle_fileage(std::string_view tag, std::string_view line, const std::string& prefix) {
  FileAgeEntry entry;
  entry.age = block_age(take_word(line), prefix);
  FixedText<20> stored = open_block(type_fileage, tag, prefix);
  std::string dir;
  take_dir_word(line, dir, "%s path doesn't exist : `%s'", prefix);
  std::string_view word;
  while (next_word(line, word)) entry.names.push_back(joined_name(dir, word, prefix));
  if (entry.names.empty()) stop_no_filename(prefix);
  add_entry(blocks.fileage, stored, std::move(entry));
}

void handle_files(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_files, tag, prefix);
  FilesEntry entry;
  std::string dir;
  bool under_dir = take_dir_word(line, dir, "%s path doesn't exist : `%s'\n", prefix);
  std::string_view word;
  while (next_word(line, word)) entry.names.push_back(file_name(word, under_dir, dir, prefix));
  if (entry.names.empty()) stop_no_filename(prefix);
  add_entry(blocks.files, stored, std::move(entry));
}

void handle_nodelist(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_nodelist, tag, prefix);
  NodelistEntry entry;
  entry.ext = take_word(line);
  take_number(line, entry.zone);
  read_lists(entry, line, prefix);
  check_index(ndl_kind, entry);
  add_entry(blocks.nodelist, stored, entry);
}

void handle_path(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_path, tag, prefix);
  std::string path(unquote(line.substr(0, path_limit)));
  if (!check_path(path) || path.size() > path_limit) {
    log_line(0, "%s Warning! path doesn't exist : `%s'", prefix.c_str(), path.c_str());
  }
  add_entry(blocks.path, stored, {.path = std::string_view(path)});
}

void handle_version9(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_version9, tag, prefix);
  NodelistEntry entry;
  entry.ext = take_word(line);
  entry.zone = entry.region = wild_any;
  if (take_number(line, entry.zone) && !take_number(line, entry.region)) {
    stop_run_logged("%s default region incorrect or missing  : `%s'", prefix.c_str(),
                    std::string(take_word(line)).c_str());
  }
  read_lists(entry, line, prefix);
  check_index(v9_kind, entry);
  add_entry(blocks.version9, stored, entry);
}

}  // namespace quelmo
