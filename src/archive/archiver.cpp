#include "archive/archiver.h"

#include <cstdio>
#include <optional>

#include "core/log.h"
#include "core/stop.h"
#include "platform/files.h"
#include "platform/program.h"

namespace quelmo {
namespace {

// Where a packer's signature stands in a file of this length; nothing if that lies ahead of its start.
std::optional<uint64_t> ident_position(const Packer& packer, int64_t length) {
  int64_t offset = packer.ident_offset;
  if (offset < 0) {
    log_line(4, "detect_arctype: seeking %ld bytes backward\n", static_cast<long>(-offset));
    offset += length;
  } else {
    log_line(4, "detect_arctype: seeking %ld bytes forward\n", static_cast<long>(offset));
  }
  if (offset >= 0) return static_cast<uint64_t>(offset);
  log_line(0, "detect_arctype: seek error\n");
  return std::nullopt;
}

}  // namespace

const Packer* detect_arctype(const std::string& file) {
  Fd fd = open_file(file, Open::read);
  int64_t length = fd ? file_length(fd) : -1;
  if (length < 0) {
    log_line(0, "error opening archive `%s'\n", file.c_str());
    report_errno(file);
    return nullptr;
  }
  for (const Packer& packer : packers) {
    std::optional<uint64_t> position = ident_position(packer, length);
    if (!position) return nullptr;
    std::string bytes(packer.ident.size(), '\0');
    if (read_at(fd, bytes.data(), bytes.size(), *position) != static_cast<ssize_t>(bytes.size())) {
      log_line(0, "detect_arctype: read error\n");
      return nullptr;
    }
    if (bytes == packer.ident) return &packer;
  }
  return nullptr;
}

std::vector<std::string> fill_command(const PackerCommand& command, const CommandFill& fill) {
  struct Placeholder {
    char letter;
    const std::string* value;
    bool used;
  };
  Placeholder placeholders[] = {
      {'a', &fill.archive, false}, {'f', &fill.files, false}, {'d', &fill.directory, false}};
  std::vector<std::string> words = split_command(command.arguments);
  for (std::string& word : words) {
    std::string filled;
    for (size_t i = 0; i < word.size(); i++) {
      const std::string* value = nullptr;
      for (Placeholder& placeholder : placeholders) {
        bool here = word[i] == '%' && i + 1 < word.size() && word[i + 1] == placeholder.letter;
        if (!here || placeholder.used) continue;
        value = placeholder.value;
        placeholder.used = true;
      }
      if (value == nullptr) {
        filled += word[i];
      } else {
        filled += *value;
        i++;
      }
    }
    word = filled;
  }
  return words;
}

bool names_directory(const PackerCommand& command) {
  return command.arguments.find("%d") != std::string::npos;
}

std::string shown_words(const std::vector<std::string>& words) {
  std::string shown;
  for (const std::string& word : words) shown += (shown.empty() ? "" : " ") + word;
  return shown;
}

int shell_exec(const std::string& program, const std::vector<std::string>& arguments,
               const std::string& directory) {
  std::fflush(stdout);
  int code = run_program(program, arguments, directory);
  if (code == -1) log_line(0, "shell errror: packer not found `%s'\n", program.c_str());
  return code;
}

}  // namespace quelmo
