// The names of arcmail bundles: eight hexadecimal digits made of the addressee, and an extension of two
// letters for the day of the week and a character that counts: 1A2B3C4D.We0.
#pragma once

#include <string>
#include <string_view>

#include "core/address.h"

namespace quelmo {

/// Eight hexadecimal digits, a point, the two letters of a day in any case, and one character more.
bool is_arcmail_name(std::string_view name);

/// True if the day of an arcmail name is that of today (UTC).
bool is_curdate(std::string_view name);

/// A name for a new bundle for `to` in `dir` (with its closing separator), from today's day (UTC). The last
/// character is the one behind the highest that stands, 0 to 9 and a to z; behind z the first that is free,
/// or whose file is empty, which is deleted. Empty, logged, if all are taken.
std::string make_new_arcname(const FtnAddr& to, const std::string& dir);

}  // namespace quelmo
