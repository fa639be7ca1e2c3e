// Archives and the external packers that make and open them (config/packers.h).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/packers.h"

namespace quelmo {

/// The packer of an archive, by the signature in the file: the first that fits, in the order of the
/// configuration. Null, logged, if none does or the file is too short for the signature of one that is asked
/// before.
const Packer* detect_arctype(const std::string& file);

/// What is put in the place of `%a`, `%f` and `%d`: the first of each in a command.
struct CommandFill {
  std::string archive;
  std::string files;
  std::string directory;
};

/// The words of a command's arguments, each placeholder filled in behind the splitting: a name with blanks,
/// quotes or anything else stays in the word that it stands in.
std::vector<std::string> fill_command(const PackerCommand& command, const CommandFill& fill);

/// True if the command takes the directory to work in as an argument.
bool names_directory(const PackerCommand& command);

/// The words with blanks between them, for the log.
std::string shown_words(const std::vector<std::string>& words);

/// Runs a packer and waits for it; `directory`, if not empty, is where it works. Its exit code, 128 and more
/// if it was killed, or -1, logged, if the program doesn't exist.
int shell_exec(const std::string& program, const std::vector<std::string>& arguments,
               const std::string& directory = {});

}  // namespace quelmo
