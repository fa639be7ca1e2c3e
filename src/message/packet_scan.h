// Packets as a scan knows them: the records of the file (bases/pkt_records.h describes them byte by byte) and
// how far the scan of a directory of packets, or of a mailer's outbound, has come.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "config/areas.h"
#include "core/address.h"
#include "core/fixed_text.h"
#include "platform/files.h"

namespace quelmo {

/// Header of a packet, type 2+ (FTS-0001 with FSC-0039 and FSC-0048).
struct PktHeader {
  uint16_t origNode = 0;
  uint16_t destNode = 0;
  uint16_t year = 0;   ///< in full
  uint16_t month = 0;  ///< 0 to 11
  uint16_t day = 0;    ///< 1 to 31
  uint16_t hour = 0;
  uint16_t minute = 0;
  uint16_t second = 0;
  uint16_t baud = 0;
  uint16_t packetType = 2;
  uint16_t origNet = 0;  ///< 0xFFFF from a point; then the net stands in auxNet
  uint16_t destNet = 0;
  uint8_t prodCodeLo = 0;
  uint8_t revMajor = 0;
  std::array<char, 8> password = {};  ///< zeros behind a shorter one
  uint16_t qOrigZone = 0;             ///< a copy of origZone, where older programs look
  uint16_t qDestZone = 0;
  uint16_t auxNet = 0;
  uint16_t cwCopy = 0;  ///< capWord with its bytes swapped
  uint8_t prodCodeHi = 0;
  uint8_t revMinor = 0;
  uint16_t capWord = 0;
  uint16_t origZone = 0;
  uint16_t destZone = 0;
  uint16_t origPoint = 0;
  uint16_t destPoint = 0;
  uint32_t prodData = 0;
};

/// What stands ahead of the texts of a packed message.
struct PktMsgHeader {
  uint16_t pktType = 2;
  uint16_t origNode = 0;
  uint16_t destNode = 0;
  uint16_t origNet = 0;
  uint16_t destNet = 0;
  uint16_t attr = 0;
  uint16_t cost = 0;
  FixedText<20> date;
};

/// A packed message but for its text.
struct PackedMsg {
  PktMsgHeader header;
  FixedText<36> toname;
  FixedText<36> fromname;
  FixedText<72> subject;
};

/// A busy flag that this run made (bases/outbound_names.h); no name: none.
struct BusyFlag {
  std::string name;
  FileInfo file;  ///< to tell it from another's that has come in its place
};

/// The scan of a pkt or bink area. One file at a time is held in memory: a packet's messages, or the lines of
/// a list. What is kept of it stands at the start of `buffer`, what is still unread at its end; while nothing
/// was dropped the two meet, and nothing has been moved.
struct PktScan {
  Area area;                      ///< the area as it was defined when the scan began
  std::vector<std::string> list;  ///< paths
  int index = -1;  ///< entry being read, or the next one once its last message was handed out; -1: none yet
  PktHeader header;
  PackedMsg msg;  ///< as read last
  FtnAddr to;     ///< the system that the file is for
  FtnAddr from;
  std::string name;  ///< path of the file taken up last
  FileInfo file;     ///< as it was when it was loaded

  bool loaded = false;       ///< `buffer` holds the file `name`
  bool is_list = false;      ///< a list of attached files, no packet
  std::string buffer;        ///< begins with the bytes of the file behind its header
  size_t kept = 0;           ///< bytes to keep, at the start of `buffer`
  size_t prev_off = 0;       ///< start of the current message; `cur_off` once its fate is settled
  size_t cur_off = 0;        ///< start of the next message
  size_t end_off = 0;        ///< length of the messages, a packet's final 0 not counted
  bool dropped = false;      ///< something was left out: the file has to be written
  bool header_set = false;   ///< a script changed `header`: the same
  bool packet_done = false;  ///< `index` has moved past a finished packet
  uint32_t msg_count = 0;    ///< messages handed out in this scan
  uint32_t stamp = 0;        ///< a list: sets its messages apart from those of other lists
  BusyFlag busy_flag;        ///< bink: held while a file is in work
};

}  // namespace quelmo
