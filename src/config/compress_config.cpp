#include "config/compress_config.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "config/packers.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "platform/files.h"
#include "platform/program.h"

namespace quelmo {
namespace {

constexpr size_t line_limit = 254;
constexpr size_t command_limit = 127;
constexpr size_t ident_limit = 256;

struct CompressReader {
  std::string prefix;  // file and number of the line in hand
  std::string line;    // the line in hand: what messages show
  bool open = false;   // between Archiver and End
  Packer packer;       // the definition in hand

  // Stops the run with a message that takes the place and a text.
  [[noreturn, gnu::format(printf, 2, 0)]] void fail(const char* format, const char* text) const {
    stop_run_logged(format, prefix.c_str(), text);
  }
  [[noreturn]] void fail(const char* format) const { stop_run_logged(format, prefix.c_str()); }
  [[noreturn]] void fail_with_line(const char* format) const { fail(format, line.c_str()); }
};

void take_archiver(CompressReader& reader, std::string_view name) {
  if (reader.open) reader.fail("%s no `End Archiver' found for `%s'\n", reader.packer.name.c_str());
  reader.packer = Packer();
  reader.packer.name = name;
  reader.open = true;
}

void take_extension(CompressReader& reader, std::string_view text) {
  reader.packer.extension = text;
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = lower_byte(c);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// offset,hexbytes: a last odd digit is a byte of its own.
void take_ident(CompressReader& reader, std::string_view text) {
  constexpr const char* format = "%s Ident syntax: `%s'\n";
  size_t comma = text.find(',');
  if (comma == std::string_view::npos) reader.fail_with_line(format);
  std::string_view digits = trim_spaces(text.substr(comma + 1));
  std::string ident;
  for (size_t i = 0; i < digits.size() && hex_digit(digits[i]) >= 0; i += 2) {
    int byte = hex_digit(digits[i]);
    if (i + 1 < digits.size() && hex_digit(digits[i + 1]) >= 0) byte = byte * 16 + hex_digit(digits[i + 1]);
    ident += static_cast<char>(byte);
  }
  if (ident.empty() || ident.size() > ident_limit) reader.fail_with_line(format);
  reader.packer.ident_offset = to_int(text.substr(0, comma));
  reader.packer.ident = ident;
}

PackerCommand command_of(CompressReader& reader, std::string_view text, const char* word) {
  text = text.substr(0, command_limit);
  std::string_view rest = text;
  std::string_view first;
  if (text.starts_with('"') && text.find('"', 1) != std::string_view::npos) {
    size_t end = text.find('"', 1);
    first = text.substr(1, end - 1);
    rest = trim_spaces(text.substr(end + 1));
  } else {
    next_word(rest, first);
  }
  PackerCommand command{.program = find_program(first), .arguments = std::string(rest)};
  if (command.program.empty())
    reader.fail("%s archiver not found in curdir or PATH: `%s'\n", std::string(first).c_str());
  if (rest.find("%a") == std::string_view::npos || rest.find("%f") == std::string_view::npos)
    reader.fail("%s %%a or %%f missing for `%s'\n", word);
  return command;
}

void take_add(CompressReader& reader, std::string_view text) {
  reader.packer.add = command_of(reader, text, "Add");
}

void take_extract(CompressReader& reader, std::string_view text) {
  reader.packer.extract = command_of(reader, text, "Extract");
}

void take_ratio(CompressReader& reader, std::string_view text) {
  double ratio = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), ratio);
  constexpr double largest = 1e6;
  if (error != std::errc() || end != text.data() + text.size() || !(ratio >= 0 && ratio <= largest))
    reader.fail("%s incorrect ratio `%s'\n", std::string(text).c_str());
  // A tenth has no exact form: what is written as 1.1 gives 11.
  reader.packer.ratio = static_cast<int32_t>(std::floor(ratio * 10 + 1e-6));
}

void take_view(CompressReader&, std::string_view) {}

void take_end(CompressReader& reader, std::string_view) {
  if (!reader.open) reader.fail("%s unexpected `End Archiver' found\n");
  const Packer& packer = reader.packer;
  const char* name = packer.name.c_str();
  if (packer.extension.empty()) reader.fail("%s no `Extention' defined for `%s'\n", name);
  if (packer.add.program.empty()) reader.fail("%s no `Add' defined for `%s'\n", name);
  if (packer.extract.program.empty()) reader.fail("%s no `Extract' defined for `%s'\n", name);
  if (packer.ident.empty()) reader.fail("%s no `Ident' defined for `%s'\n", name);
  packers.push_back(packer);
  reader.open = false;
}

struct CompressWord {
  const char* name;
  void (*take)(CompressReader& reader, std::string_view argument);
};
constexpr CompressWord words[] = {
    {"Archiver", take_archiver}, {"Extension", take_extension}, {"Ident", take_ident}, {"Add", take_add},
    {"Extract", take_extract},   {"Ratio", take_ratio},         {"View", take_view},   {"End", take_end},
};

void take_line(CompressReader& reader) {
  std::string_view rest = reader.line;
  std::string_view word;
  next_word(rest, word);
  for (const char* system : {"DOS", "OS2"}) {
    if (equal_nocase(word, system)) next_word(rest, word);
  }
  if (rest.empty()) reader.fail_with_line("%s syntax error (empty argument): `%s'\n");
  for (const CompressWord& known : words) {
    if (equal_nocase(word, known.name)) return known.take(reader, rest);
  }
  reader.fail_with_line("%s unknown keyword: `%s'\n");
}

void trace_packers() {
  if (!log_passes(5)) return;
  for (const Packer& packer : packers) {
    log_line(5, "Archiver: %s\n", packer.name.c_str());
    log_line(5, "                Ext:     %s\n", packer.extension.c_str());
    log_line(5, "                Add:     %s\n", command_line(packer.add).c_str());
    log_line(5, "                Extract: %s\n", command_line(packer.extract).c_str());
    log_line(5, "                View:    %s\n", "");
    log_line(5, "                Ratio:   %d\n", packer.ratio);
    std::string bytes;
    for (char byte : packer.ident) bytes += format_text("%02X ", static_cast<unsigned char>(byte));
    log_line(5, "                Ident:   off=%d  %s\n", packer.ident_offset, bytes.c_str());
  }
}

}  // namespace

bool read_compress_cfg(const std::string& path) {
  constexpr uint64_t largest_file = 1 << 20;
  std::optional<std::string> text = read_file(path, largest_file);
  if (!text) {
    log_line(3, "can`t open compress config `%s'\n", path.c_str());
    return false;
  }
  CompressReader reader;
  std::string_view rest = *text;
  for (int number = 1; !rest.empty(); number++) {
    std::string_view line = next_line(rest, line_limit);
    reader.prefix = format_text("%s -- line #%d,", path.c_str(), number);
    reader.line = trim_spaces(line.substr(0, line.find_first_of(std::string_view(";\r\n\0", 4))));
    if (!reader.line.empty()) take_line(reader);
  }
  if (reader.open) reader.fail("%s unexpected end of file\n");
  trace_packers();
  return true;
}

}  // namespace quelmo
