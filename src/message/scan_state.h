// Scan records of the bases, members of CurMsg: how far the scan of the current area has come.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "core/fixed_text.h"
#include "platform/directory.h"

namespace quelmo {

/// Header of a *.MSG file (bases/fido_msg.h).
struct FidoHeader {
  FixedText<36> fromUserName;
  FixedText<36> toUserName;
  FixedText<72> subject;
  FixedText<20> dateTime;
  uint16_t timesRead = 0;
  uint16_t destNode = 0;
  uint16_t origNode = 0;
  uint16_t cost = 0;
  uint16_t origNet = 0;
  uint16_t destNet = 0;
  uint16_t destZone = 0;
  uint16_t origZone = 0;
  uint16_t destPoint = 0;
  uint16_t origPoint = 0;
  uint16_t replyTo = 0;
  uint16_t attribute = 0;
  uint16_t nextReply = 0;
};

/// A message file of an area; its name stands in FidoScan::names.
struct FidoListEntry {
  uint32_t number = 0;   ///< the number that the name begins with
  uint32_t time = 0;     ///< modification time shifted to local time; 0 if time stamps aren't in use
  uint64_t name_at = 0;  ///< offset of the name in FidoScan::names
};

struct FidoScan {
  FidoHeader header;  ///< of the message last read
  Directory directory;
  std::string names;  ///< file names, each ended by a NUL
  std::vector<FidoListEntry> list;
  size_t index = 0;      ///< next entry to read; behind a read, index - 1 is the current message
  uint32_t ts = 0;       ///< time stamp of the area at selection, 0 without time stamps
  std::string lastread;  ///< the area's LASTREAD file as it is spelled on disk; empty if there was none
  std::string buffer;    ///< begins with the bytes of the file last read

  const char* name(size_t i) const { return names.c_str() + list[i].name_at; }
  const char* current_name() const { return name(index - 1); }
};

}  // namespace quelmo
