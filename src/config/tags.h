// The tags of data blocks. A tag belongs to one data type; what the block holds stands in
// select/data_blocks.h.
#pragma once

#include <string>
#include <string_view>

namespace quelmo {

/// Registers the tag, ignoring case, for a data type (index of select/data_types.h). A tag that another type
/// has stops the run.
void define_tag(int type, std::string_view tag, const std::string& prefix);

/// The data type of a tag; -1 if the tag is unknown.
int tag_type(std::string_view tag);
inline bool tag_is_free(std::string_view tag) {
  return tag_type(tag) < 0;
}

/// Takes a tag out of the registry, so that it can be defined again; false if it isn't there.
bool forget_tag(std::string_view tag);
void free_tags();

}  // namespace quelmo
