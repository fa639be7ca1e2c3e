// Path texts and what they mean on this machine. Configurations and scripts write paths in the DOS form or in
// the Unix form; a path text stays as it was written until the system call, and only then becomes a host
// path:
//
//   `\` and `/` both separate;
//   `X:` stands for the directory named by the environment variable QUELMO_DRIVE_X, for `/` without one;
//   a relative path counts from the directory in which the run began, whatever a script's chdir does.
//
// Nothing here but `disk_path` and its helpers looks at the disk.
#pragma once

#include <string>
#include <string_view>

namespace quelmo {

constexpr bool is_separator(char c) {
  return c == '\\' || c == '/';
}

/// Begins with a separator or has a colon as its second character.
bool is_absolute(std::string_view path);

/// Position of the last `\` or `/`; npos if the path holds none.
size_t last_separator(std::string_view path);

/// The directory part of a path with its closing separator or drive colon; empty if there is none.
std::string_view dir_part(std::string_view path);

/// What stands behind the directory part.
std::string_view file_part(std::string_view path);

/// The separator that the program itself adds to `path`: the last one that the path holds, `\` behind a drive
/// letter that is followed by none, else `/`.
char own_separator(std::string_view path);

/// `path` with a closing separator; an empty path stays empty.
std::string close_dir(std::string_view path);

/// Fixes the directory from which relative paths count: the working directory of now. Called once, at the
/// start.
void set_start_directory();

/// The host path of a path text, by its letters alone: separators, drive and start directory put in. A NUL
/// ends the text, as it would in the system call.
std::string host_path(std::string_view path);

/// The host path in the spelling of the disk: as written if that exists, else each component that doesn't
/// exist as written is looked for ignoring case (of several that fit, the first in byte order). Components
/// that are found nowhere stay as written.
std::string disk_path(std::string_view path);

/// As `disk_path`, for a path that already is a host path.
std::string disk_spelling(const std::string& host);

/// True if the last name of a host path exists as it stands, in lower case or in upper case: the three
/// spellings in which the programs of the field write the names that they make up (numbers, hexadecimal
/// stamps).
bool name_taken(const std::string& host);

}  // namespace quelmo
