// Making a JAM base, and packing one: the deleted messages go, the others are numbered anew from 1.
#pragma once

#include <string_view>

#include "config/areas.h"

namespace quelmo {

/// Makes the files of an empty base at `path`, mode 0600; stops the run if it can't, and then leaves none of
/// them. The lastread file is made too: a common library takes a base without one for no base, and empties
/// it.
void create_new_jambase(std::string_view path);

/// Packs the base of an area that isn't the one being scanned. 1, or 0 with the reason in
/// `current.jam_errno`; then the base is as it was, or its image stands beside it (pack_image.h).
int jam_pack(const Area& area);

}  // namespace quelmo
