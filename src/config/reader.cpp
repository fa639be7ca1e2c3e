#include "config/reader.h"

#include <optional>
#include <string>

#include "config/keywords.h"
#include "config/tags.h"
#include "core/console.h"
#include "core/fixed_text.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/macros.h"
#include "platform/files.h"
#include "platform/path.h"
#include "select/data_types.h"

namespace quelmo {
namespace {

constexpr size_t line_limit = 254;  // a longer line comes in as several
constexpr int files_limit = 300;    // ends an include loop

// A message on stdout; the run stops behind it.
[[noreturn]] void stop_on_stdout(const char* message) {
  print_line("%s", message);
  throw Stop();
}

// Takes the next line off a text, its line end included; CR LF comes as LF.
std::string take_line(std::string_view text, size_t& position) {
  std::string line;
  while (position < text.size() && line.size() < line_limit) {
    char c = text[position++];
    if (c == '\r' && position < text.size() && text[position] == '\n') c = text[position++];
    line += c;
    if (c == '\n') break;
  }
  return line;
}

// Cuts a line at its first ";" that has no backslash in front. That backslash stays in the text: it may be
// the separator that closes a path.
std::string_view without_comment(std::string_view line) {
  for (size_t i = 0; i < line.size(); i++) {
    if (line[i] == ';' && (i == 0 || line[i - 1] != '\\')) return line.substr(0, i);
  }
  return line;
}

class Reader {
 public:
  explicit Reader(std::string_view home) : home_(home) {}
  void read_file(const std::string& name);

 private:
  std::optional<std::string> open_named(const std::string& name, std::string& path) const;
  void read_lines(std::string text, const std::string& path);
  std::string back_from_include(const std::string& path, size_t position) const;
  bool prepare_line(std::string_view raw, const std::string& path, int number);
  void keyword_line();
  void open_block(std::string_view rest);
  void block_line();
  void end_of_file();
  [[noreturn]] void fail(const char* format) const;

  std::string home_;
  int depth_ = 0;  // files open at the moment
  int files_ = 0;  // files opened so far

  bool in_block_ = false;
  bool block_has_data_ = false;
  FixedText<64> block_type_;
  FixedText<20> block_tag_;

  std::string prefix_;  // path and number of the line in hand
  std::string line_;    // the line in hand, expanded and trimmed: what messages show
};

// Stops the run with a message that takes the place and the text of the line in hand.
void Reader::fail(const char* format) const {
  stop_run(format, prefix_.c_str(), line_.c_str());
}

std::optional<std::string> Reader::open_named(const std::string& name, std::string& path) const {
  if (!home_.empty() && !is_absolute(name)) {
    path = home_ + name;
    if (std::optional<std::string> text = quelmo::read_file(path)) return text;
  }
  path = name;
  return quelmo::read_file(path);
}

void Reader::read_file(const std::string& name) {
  depth_++;
  if (++files_ == files_limit) stop_on_stdout("\n\aStack overflow\n");
  std::string path;
  std::optional<std::string> text = open_named(name, path);
  if (!text) {
    log_line(1, "config file `%s' not found, rely on defaults\n", name.c_str());
  } else {
    print_progress("reading configuration file `%s'\n", name.c_str());
    read_lines(std::move(*text), path);
  }
  depth_--;
  if (text) end_of_file();
}

void Reader::read_lines(std::string text, const std::string& path) {
  constexpr std::string_view include = "$include";
  size_t position = 0;
  for (int number = 1; position < text.size(); number++) {
    if (!prepare_line(take_line(text, position), path, number)) continue;
    if (starts_nocase(line_, include)) {
      std::string_view rest = line_;
      std::string_view word;
      next_word(rest, word);
      log_line(4, "including cfg file `%s'\n", std::string(rest).c_str());
      // An include loop holds one file in memory, not all of them.
      text = std::string();
      read_file(std::string(rest));
      text = back_from_include(path, position);
    } else if (in_block_) {
      block_line();
    } else {
      keyword_line();
    }
  }
}

std::string Reader::back_from_include(const std::string& path, size_t position) const {
  std::optional<std::string> text = quelmo::read_file(path);
  if (!text) {
    print_line("\a");
    report_errno(path);
    throw Stop();
  }
  if (text->size() < position) {
    log_line(0, "config file seek error\n");
    stop_on_stdout("\n\aconfig file seek error\n");
  }
  return std::move(*text);
}

// Puts the line into `line_` as keywords and blocks see it; false if nothing is left of it.
bool Reader::prepare_line(std::string_view raw, const std::string& path, int number) {
  constexpr size_t blank_limit = 2;
  raw = raw.substr(0, raw.find('\0'));
  if (raw.size() <= blank_limit) return false;
  raw = without_comment(strip_line_end(raw));
  if (raw.empty()) return false;
  prefix_ = format_text("%s -- line #%d,", path.c_str(), number);
  std::string expanded(raw);
  expand_config(expanded);
  line_ = trim_spaces(expanded);
  return !line_.empty();
}

void Reader::keyword_line() {
  std::string_view rest = line_;
  std::string_view word;
  next_word(rest, word);
  log_line(5, "parse config, 1st arg:`%s' tail:`%s'\n", std::string(word).c_str(), std::string(rest).c_str());
  if (rest.empty()) fail("\a%s syntax: `%s'\n");
  int id = keyword_id(word);
  if (id == kw_data) return open_block(rest);
  if (id == kw_end) stop_run("\a%s not expected : `%s'\n", prefix_.c_str(), std::string(word).c_str());
  if (set_keyword(id, rest, prefix_) == 0) fail("\a%s unknown keyword: `%s'\n");
}

void Reader::open_block(std::string_view rest) {
  std::string_view type;
  std::string_view tag;
  next_word(rest, type);
  if (!next_word(rest, tag)) fail("\a%s syntax: `%s'\n");
  block_type_ = type;
  block_tag_ = tag;
  log_line(5, "parse config, data type:`%s' tag:`%s'\n", block_type_.c_str(), block_tag_.c_str());
  if (!tag_is_free(block_tag_)) {
    stop_run("\a%s %s, tag already defined: `%s'\n", prefix_.c_str(), line_.c_str(), block_tag_.c_str());
  }
  in_block_ = true;
  block_has_data_ = false;
}

void Reader::block_line() {
  std::string_view rest = line_;
  std::string_view word;
  next_word(rest, word);
  if (keyword_id(word) == kw_end) {
    if (!block_has_data_) fail("\a%s empty Data Block: `%s'\n");
    log_line(5, "parse config, got #End# for Data block\n");
    in_block_ = false;
    block_has_data_ = false;
    return;
  }
  block_has_data_ = true;
  log_line(5, "parse config, got data in datablock: `%s'\n", line_.c_str());
  int type = data_type_id(block_type_);
  if (type < 0) stop_run_logged("%s unknown data type: `%s'\n", prefix_.c_str(), block_type_.c_str());
  BlockHandler handler = data_types()[static_cast<size_t>(type)].handler;
  if (handler == nullptr) {
    log_line(0, "config error: DATA %s not yet implemented, ignored\n", block_type_.c_str());
    return;
  }
  handler(block_tag_, line_, prefix_);
}

// A block that an included file opened may end in the including one.
void Reader::end_of_file() {
  if (in_block_ && depth_ == 0) fail("\a%s expected `#END#', got: `%s'\n");
}

}  // namespace

void read_config(std::string_view home, std::string_view name) {
  Reader(home).read_file(std::string(name));
}

}  // namespace quelmo
