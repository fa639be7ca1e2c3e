#include "actions/file_services.h"

#include <string>
#include <string_view>
#include <vector>

#include "actions/templates.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/macros.h"
#include "platform/files.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

// The names of a call's argument, and how they were given.
struct FileNames {
  bool direct = false;
  std::vector<std::string> names;
};

// Takes the word `@files`, or a leading part of it, off the start of a text.
bool take_files_word(std::string_view& text) {
  std::string_view rest = text;
  std::string_view word;
  if (!next_word(rest, word) || !abbreviates(word, "@files")) return false;
  text = rest;
  return true;
}

// The names of a block that a file may be made or deleted under, expanded: those without a "!".
std::vector<std::string> block_names(const Block<FilesEntry>& block) {
  std::vector<std::string> names;
  for (const FilesEntry& entry : block.entries) {
    for (const FileName& file : entry.names) {
      if (file.name.view().starts_with('!')) continue;
      names.push_back(file.name.str());
      expand_config(names.back());
    }
  }
  return names;
}

// The block of this tag; without one the run stops with `complaint` and the tag.
const Block<FilesEntry>& files_block(std::string_view tag, const char* complaint) {
  const Block<FilesEntry>* block = find_block(blocks.files, tag);
  if (block == nullptr) stop_run("%s no such <Data Files> : `%s'\n", complaint, std::string(tag).c_str());
  return *block;
}

enum class Service { create, kill };

FileNames file_names(const ScriptCall& call, Service service) {
  std::string spec = expanded_arg(call, 0);
  bool create = service == Service::create;
  if (create) {
    log_line(4, "CreateFile: blockname or filespecs to create after all expansions: `%s'\n", spec.c_str());
  } else {
    log_line(4, "kill_file: blockname or filespecs to kill after all expansions: `%s'\n", spec.c_str());
  }
  std::string_view rest = spec;
  FileNames found{.direct = take_files_word(rest), .names = {}};
  if (!found.direct) {
    found.names = block_names(files_block(spec, create ? "create_file:" : "kill_file error: "));
    return found;
  }
  if (create) {
    log_line(4, "createfile: got filespec directly: `%s'\n", std::string(rest).c_str());
  } else {
    log_line(4, "kill_file: got filespec directly: `%s'\n", std::string(rest).c_str());
  }
  if (rest.empty()) stop_run("%s syntax: `%s'\n", call.label(), spec.c_str());
  std::string_view word;
  while (next_word(rest, word)) found.names.emplace_back(word);
  return found;
}

// The text that WriteString adds for its second argument.
std::string string_to_write(std::string text) {
  std::string bytes;
  if (text.size() > 1 && !text.starts_with('.') && text.ends_with('.')) {
    for (std::string_view line : array_lines(text)) {
      bytes += line;
      if (line.ends_with('\r')) bytes += '\n';
    }
    return bytes;
  }
  if (!text.ends_with('\\')) return text + "\r\n";
  text.pop_back();
  return text;
}

}  // namespace

void perl_CreateFile(ScriptCall& call) {
  FileNames files = file_names(call, Service::create);
  bool all = true;
  for (const std::string& name : files.names) {
    if (!open_file(name, files.direct ? Open::overwrite : Open::create, 0600)) {
      log_line(2, "CreateFile: error creating  file `%s'\n", name.c_str());
      all = false;
    } else if (files.direct) {
      log_line(2, "CreatelFile: file `%s' created OK\n", name.c_str());
    } else {
      log_line(2, "CreateFile: file `%s' created OK\n", name.c_str());
    }
  }
  call.give_number(all ? 1 : 0);
}

void perl_KillFile(ScriptCall& call) {
  FileNames files = file_names(call, Service::kill);
  bool all = true;
  for (const std::string& name : files.names) {
    if (remove_file(name)) {
      log_line(2, "kill_file: file `%s' deleted Ok\n", name.c_str());
    } else {
      log_line(2, "kill_file: error deleting  file `%s'\n", name.c_str());
      all = false;
    }
  }
  call.give_number(all ? 1 : 0);
}

void perl_WriteString(ScriptCall& call) {
  std::string spec(trim_spaces(call.text(0)));
  expand_macro(spec);
  std::string_view rest = spec;
  std::string name;
  if (take_files_word(rest)) {
    if (rest.empty()) stop_run("%s syntax: `%s'\n", call.label(), spec.c_str());
    name = rest;
  } else {
    std::vector<std::string> names = block_names(files_block(spec, "select,"));
    if (names.empty()) stop_run("%s syntax: `%s'\n", call.label(), spec.c_str());
    name = names.front();
  }
  std::string text(unquote(trim_spaces(call.text(1))));
  expand_macro(text);

  Fd file = open_file(name, Open::append);
  if (!file) {
    report_errno(name);
    stop_run("%s can`t open file `%s'\n", call.label(), name.c_str());
  }
  if (!write_all(file, string_to_write(text)) || !file.close()) {
    report_errno(name);
    stop_run("%s error writing file `%s'\n", call.label(), name.c_str());
  }
}

}  // namespace quelmo
