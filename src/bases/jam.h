// Areas of a JAM base: `<path>.jhr`, `.jdt` and `.jdx`, and `.jlr` of the readers. See base_ops.h for what
// the operations promise, jam_records.h and jam_text.h for the format.
//
// All writes are made under the lock of the base, and in an order that leaves the mail readable when the
// process dies in between:
//
//   add     text, header, count of messages, index record. Without the last the new message isn't there, and
//           what was written of it is waste until a pack; a count that is one too high does no harm.
//   update  text and header go to the ends of their files where they have grown, then the index record moves
//           over, then the old header is marked deleted. Up to the index record the old message is there,
//           behind it the new one. What hasn't grown is written in place, the text first.
//   kill    header, index record, count. A message whose header is marked isn't read any more.
//
// A write that fails takes back what it has added to the files, and what it changed of the count.
#pragma once

#include <cstdint>

#include "config/areas.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

/// The scan goes over the index records that stand now, or at the last rewind.
bool jam_select(const Area& area);
/// Stops the run on anything that isn't a message or the end of the area.
bool jam_read(const char* label);
uint32_t jam_add(const Area& area, const Msg& msg, const LineList& text);
/// Refused, with a log line, if somebody has changed the message since it was read. The same for a kill.
bool jam_update();
bool jam_kill();
void jam_rewind();
void jam_close();

}  // namespace quelmo
