// Texts for new lines of a message: template files, and arrays of the script.
#pragma once

#include <string>
#include <string_view>

#include "message/line_list.h"

namespace quelmo {

/// The lines of the template `name`, looked for in TEMPLATEPATH and then as it stands; a name without "." is
/// tried with the extension .tpl. A template that isn't found stops the run.
LineList template_lines(std::string_view name);

/// The lines of a template file. Its text is expanded by `expand_config`, and a reference to an array,
/// `%name.%` or
/// `%%name.%%`, stands for the array's lines; what stands ahead of it and behind it joins the first and the
/// last of them. A file that can't be opened stops the run.
LineList read_tpl(std::string_view path);

/// The elements of a script array, each expanded by `expand_macro`. `name` may end in "." and stands for a
/// variable of `main` unless it names a package. Without such an array: `name` itself as a line.
LineList array_lines(std::string_view name);

/// The elements of a script's array that an option names ("lines.", "other::lines"), each expanded by
/// `expand_macro`. False if there is no such array.
bool named_array(std::string_view name, std::vector<std::string>& elements);

}  // namespace quelmo
