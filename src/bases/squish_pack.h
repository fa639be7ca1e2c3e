// Maintenance of a Squish base as a whole.
#pragma once

#include "config/areas.h"

namespace quelmo {

/// Rewrites the base of an area that isn't being scanned: the messages in the order of the index, without
/// free frames and slack. 1, or 0 with sq_errno set; then the base is as it was, or, where writing it failed,
/// a whole copy of it stands beside it (pack_image.h).
int sqpack(const Area& area);

}  // namespace quelmo
