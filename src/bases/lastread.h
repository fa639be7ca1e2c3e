// Lastread files: how far each reader of an area has come. When a message is killed, the readers that stood
// on it go back to the message before.
#pragma once

#include <cstdint>

#include "platform/files.h"

namespace quelmo {

enum class Lastread {
  fido,    ///< LASTREAD of a *.MSG area: 16-bit numbers
  squish,  ///< .sql: 32-bit numbers
  jam,     ///< .jlr: records of 16 bytes, in their third and fourth word
};

/// Replaces `killed` by `previous` in the file, open for reading and writing. An incomplete record at its end
/// stays.
void fix_lastread(const Fd& file, Lastread kind, uint32_t killed, uint32_t previous);

}  // namespace quelmo
