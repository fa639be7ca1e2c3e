// The kinds of area, as one table of operations: what the dispatchers of reading and writing (message/scan.h,
// message/write.h) ask of a base. A kind is a row here and a module of its own.
#pragma once

#include <cstdint>
#include <string_view>

#include "bases/look.h"
#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"
#include "message/packet_scan.h"

namespace quelmo {

struct BaseOps {
  const char* name;  ///< in messages: "fido", "JAM"

  /// Opens the area for a scan; CurMsg has its type, tag and path. False, with the reason logged, if the base
  /// can't be used. Null: areas of this kind can't be scanned.
  bool (*select)(const Area& area) = nullptr;
  /// Fetches the next message: `hdr`, `text`, `msgno`, `lastread_no`. False at the end of the area. What is
  /// unreadable is logged and passed over, or stops the run, as the kind has it. `label` is the caller's.
  bool (*read)(const char* label) = nullptr;
  /// Adds a message to an area, which need not be the scanned one. The number of the new message (1 in a kind
  /// that doesn't number), or 0 with the reason logged. Sets `lastname` where the kind has a name to tell.
  /// Null: areas of this kind take no mail.
  uint32_t (*add)(const Area& area, const Msg& msg, const LineList& text) = nullptr;
  /// The same with the header of a new packet given by the caller; null: a kind without packets.
  uint32_t (*add_with)(const Area& area, const Msg& msg, const LineList& text,
                       const PktHeader& header) = nullptr;
  /// Puts into `hdr`, once its text has been parsed, what the message's file says better: where it goes.
  void (*take_route)() = nullptr;
  /// Writes `hdr` and `text` over the current message.
  bool (*update)() = nullptr;
  /// Removes the current message.
  bool (*kill)() = nullptr;
  /// Puts the scan back to its start; null if that isn't possible.
  void (*rewind)() = nullptr;
  /// Ends the scan.
  void (*close)() = nullptr;

  /// Rewrites the area without its waste; it must not be the one being scanned. 1, or 0 with the reason
  /// logged. Null: there is nothing to pack in areas of this kind.
  int (*pack)(const Area& area) = nullptr;
  /// Shows or checks the base at a path, as an area of this kind has it. False, with the reason on stderr, if
  /// it can't be read.
  bool (*look)(std::string_view path, Look& look) = nullptr;

  bool rewritten_whole = false;  ///< the rest of the file passes through `update`, changed or not
  bool tells_number = false;     ///< a copy into such an area logs the number of the new message
};

const BaseOps& base_ops(AreaType type);

}  // namespace quelmo
