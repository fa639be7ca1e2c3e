// Running an external program, without a shell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quelmo {

/// The words of a command: split at blanks and tabs, double quotes group (and are removed).
std::vector<std::string> split_command(std::string_view command);

/// The host path of a program: the name as written; then, if its file name has no ".", with ".exe". There is
/// no search along PATH. Empty if no such file exists.
std::string find_program(std::string_view program);

/// Runs `program` (see find_program) with `arguments`, each one word of the program, and waits for it.
/// `directory`, if not empty, is the directory that the child works in. The child gets no descriptor but 0 to
/// 2, an empty stdin, and the default action of every signal. The result is its exit code, 128 plus the
/// number of the signal that killed it, or -1 if it could not be started.
int run_program(std::string_view program, const std::vector<std::string>& arguments,
                std::string_view directory = {});

}  // namespace quelmo
