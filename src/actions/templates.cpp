#include "actions/templates.h"

#include <cerrno>
#include <optional>
#include <vector>

#include "core/log.h"
#include "core/script_call.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/kludges.h"
#include "message/macros.h"
#include "message/text_edit.h"
#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {
namespace {

constexpr size_t array_name_limit = 127;

bool try_template(const std::string& path) {
  log_line(2, "change_text: searching tpl: `%s'\n", path.c_str());
  return file_exists(path);
}

// A line with its reference to an array.
struct Reference {
  std::string_view before;
  std::string_view name;  // ends in "."
  std::string_view after;
};

std::optional<Reference> find_reference(std::string_view line) {
  size_t first = line.find('%');
  size_t last = line.rfind('%');
  if (first == std::string_view::npos || last - first < 2) return std::nullopt;
  size_t start = first + 1;
  size_t end = last;
  if (line[start] == '%') {
    start++;
    end--;
    if (end <= start || line[end] != '%') return std::nullopt;
  }
  std::string_view name = line.substr(start, end - start).substr(0, array_name_limit);
  if (name.empty() || name.back() != '.') return std::nullopt;
  return Reference{.before = line.substr(0, first), .name = name, .after = line.substr(last + 1)};
}

// Appends `lines` without the CR at their end, so that what follows joins the last of them.
void append_open(LineList& list, const LineList& lines) {
  for (size_t i = 0; i < lines.size(); i++) {
    std::string_view element = lines[i];
    if (i + 1 == lines.size()) element = strip_line_end(element);
    if (!element.empty()) list.append(element);
  }
}

// Lines as add_text puts them at the end of a body: ahead of the first tail kludge. Without one they are
// appended, so that many lines don't take a walk over all of them each.
struct Gathered {
  LineList list;
  bool has_tail = false;

  void add(const LineList& lines) {
    if (has_tail) {
      add_text(list, lines, at_end, Count::body);
    } else {
      list.append(lines);
    }
    for (size_t i = 0; i < lines.size() && !has_tail; i = line_end(lines, i)) {
      has_tail = is_kludge(lines[i]) && kludge_kind(lines[i]) == kind_tail;
    }
  }
};

void add_template_line(Gathered& gathered, std::string_view line) {
  LineList fresh;
  if (std::optional<Reference> reference = find_reference(line)) {
    LineList before;
    text_to_lines(before, reference->before);
    append_open(fresh, before);
    append_open(fresh, array_lines(reference->name));
    text_to_lines(fresh, reference->after);
  } else {
    text_to_lines(fresh, line);
  }
  gathered.add(fresh);
}

}  // namespace

LineList template_lines(std::string_view name) {
  std::vector<std::string> extensions = {".tpl", ".TPL"};
  if (file_part(name).find('.') != std::string_view::npos) extensions = {""};
  std::string plain(name);
  for (const std::string& extension : extensions) {
    std::string path = config.template_path.str();
    path += plain;
    path += extension;
    if (try_template(path)) return read_tpl(path);
    if (try_template(plain)) return read_tpl(plain);
    log_line(1, "change_text: template file not found: `%s'\n", plain.c_str());
  }
  return read_tpl(plain);
}

LineList read_tpl(std::string_view path) {
  constexpr uint64_t largest_template = 16 << 20;
  constexpr size_t piece_width = 127;
  std::optional<std::string> bytes = read_file(path, largest_template);
  if (!bytes) {
    std::string shown(path);
    std::string reason = shown + ": " + system_error(errno);
    stop_run("read_tpl: can`t open template file: `%s'\n%s\n", shown.c_str(), reason.c_str());
  }
  // A NUL ends a message on disk: what followed it would be lost, or taken for the next message of a packet.
  std::erase(*bytes, '\0');
  Gathered gathered;
  std::string line;
  std::string_view rest = *bytes;
  while (!rest.empty()) {
    std::string piece(next_line(rest, piece_width));
    expand_config(piece);
    line += piece;
    if (!line.ends_with('\n')) continue;
    add_template_line(gathered, strip_line_end(line));
    line.clear();
  }
  if (!line.empty()) add_template_line(gathered, strip_line_end(line));
  return gathered.list;
}

bool named_array(std::string_view name, std::vector<std::string>& elements) {
  std::string variable(name.substr(0, array_name_limit));
  if (variable.ends_with('.')) variable.pop_back();
  if (variable.find("::") == std::string::npos) variable.insert(0, "main::");
  if (!script_array(variable, elements)) return false;
  for (std::string& element : elements) expand_macro(element);
  return true;
}

LineList array_lines(std::string_view name) {
  Gathered gathered;
  std::vector<std::string> elements;
  if (!named_array(name, elements)) {
    text_to_lines(gathered.list, name);
    return gathered.list;
  }
  for (const std::string& element : elements) {
    LineList lines;
    text_to_lines(lines, element);
    gathered.add(lines);
  }
  return gathered.list;
}

}  // namespace quelmo
