// The directories of the configuration: found behind the home directory or by themselves, and written with a
// closing separator.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quelmo {

/// Width of the fields that hold paths.
constexpr size_t path_limit = 127;

/// Tests that a directory can be entered, and gives its text the closing separator: the one that it was
/// written with, else its own (see `own_separator`). A leading `.\` goes, so that `.` becomes the empty text,
/// the start directory. An empty text passes. False, and `dir` stays, if there is no such directory.
bool check_path(std::string& dir);

/// The home directory and `path` joined; an absolute path stands by itself. Nothing if that is longer than
/// `path_limit`: a path is never cut.
std::optional<std::string> home_path(std::string_view path);

/// A directory of the configuration, looked for behind the home directory and then by itself, as `check_path`
/// writes it. Nothing if it is in neither place.
std::optional<std::string> find_dir(std::string_view path);

/// The same for an existing file.
std::optional<std::string> find_file(std::string_view path);

/// Makes sure that the directory exists, in place of a plain file of that name if need be. Stops the run if
/// it can't be made.
void fix_path(std::string_view dir);

}  // namespace quelmo
