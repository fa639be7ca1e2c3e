// Scan records of the bases, members of CurMsg: how far the scan of the current area has come.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "core/fixed_text.h"
#include "platform/directory.h"
#include "platform/file_window.h"

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
  size_t file_size = 0;  ///< number of those bytes

  const char* name(size_t i) const { return names.c_str() + list[i].name_at; }
  const char* current_name() const { return name(index - 1); }
};

/// Head of a JAM base (bases/jam_records.h); its reserved bytes stay in the file.
struct JAMHDRINFO {
  uint32_t Signature = 0;
  uint32_t DateCreated = 0;
  uint32_t ModCounter = 0;
  uint32_t ActiveMsgs = 0;
  uint32_t PasswordCRC = 0xFFFFFFFF;
  uint32_t BaseMsgNum = 1;
};

/// Header of a message of a JAM base (bases/jam_records.h).
struct JAMHDR {
  uint32_t Signature = 0;
  uint16_t Revision = 0;
  uint16_t ReservedWord = 0;
  uint32_t SubfieldLen = 0;
  uint32_t TimesRead = 0;
  uint32_t MsgIdCRC = 0xFFFFFFFF;
  uint32_t ReplyCRC = 0xFFFFFFFF;
  uint32_t ReplyTo = 0;
  uint32_t Reply1st = 0;
  uint32_t ReplyNext = 0;
  uint32_t DateWritten = 0;
  uint32_t DateReceived = 0;
  uint32_t DateProcessed = 0;
  uint32_t MsgNum = 0;
  uint32_t Attribute = 0;
  uint32_t Attribute2 = 0;
  uint32_t TxtOffset = 0;
  uint32_t TxtLen = 0;
  uint32_t PasswordCRC = 0xFFFFFFFF;
  uint32_t Cost = 0;

  bool operator==(const JAMHDR&) const = default;
};

/// Index record of a JAM base; with both fields 0xFFFFFFFF that of a deleted message.
struct JAMIDX {
  uint32_t UserCRC = 0xFFFFFFFF;
  uint32_t HdrOffset = 0xFFFFFFFF;

  bool operator==(const JAMIDX&) const = default;
  bool dead() const { return *this == JAMIDX(); }
};

/// A file of a base and a window over it.
struct WindowedFile {
  Fd fd;
  FileWindow window;
  uint64_t length = 0;  ///< as it was when last asked for
};

struct JamScan {
  WindowedFile jhr;
  WindowedFile jdt;
  WindowedFile jdx;
  Fd jlr;                  ///< lastread file, opened at the first kill
  bool jlr_tried = false;  ///< it needn't exist
  JAMHDRINFO info;         ///< as last read
  uint64_t end = 0;        ///< bytes of the index at the selection or at the last rewind: the scan ends there
  uint32_t active = 0;     ///< live messages at that time
  uint64_t next = 0;       ///< index record to look at next; behind a read, next - 1 is the current message's
  uint32_t read_count = 0;  ///< live messages visited so far
  uint32_t msg_no = 0;      ///< number of the message in hand
  uint32_t ts = 0;          ///< time stamp of the area at selection, 0 without time stamps
  JAMIDX idx;               ///< of the message in hand
  JAMHDR hdr;
  std::string tail;  ///< lines that go behind the text of the message being read
};

/// Zone, net, node and point as a Squish message holds them.
struct SqAddr {
  uint16_t zone = 0;
  uint16_t net = 0;
  uint16_t node = 0;
  uint16_t point = 0;
};

/// Message header of a Squish frame (bases/squish_frames.h).
struct XMsg {
  uint32_t attr = 0;
  FixedText<36> from;
  FixedText<36> to;
  FixedText<72> subject;
  SqAddr orig;
  SqAddr dest;
  uint32_t date_written = 0;
  uint32_t date_arrived = 0;
  uint16_t utc_ofs = 0;
  uint32_t replyto = 0;
  std::array<uint32_t, 9> replies = {};
  uint32_t umsgid = 0;
  FixedText<20> ftsc_date;
};

/// Record of a Squish index (bases/squish_frames.h).
struct SqIdx {
  uint32_t ofs = 0;
  uint32_t umsgid = 0;
  uint32_t hash = 0;
};

struct SqScan {
  Fd sqd;
  Fd sqi;
  XMsg xmsg;                   ///< of the message last read
  size_t index = 0;            ///< next list entry to read; behind a read, index - 1 is the current message
  size_t total = 0;            ///< entries that the scan visits: those of the selection or of the last Rewind
  uint32_t cur_off = 0;        ///< frame of the current message, 0 when there is none
  std::vector<SqIdx> list;     ///< the index, killed messages marked in it; grows with messages added
  uint32_t ts = 0;             ///< time stamp of the area at selection, 0 without time stamps
  bool owns_index = false;     ///< the index is in `list` and locked: it may be written back
  bool changed = false;        ///< `list` says something else than the index file
  std::vector<bool> moved;     ///< by list entry: it has a new offset or hash
  std::vector<uint32_t> left;  ///< frames that messages have moved out of, free once the index is written
  uint64_t sqd_size = 0;       ///< length of the base file, as far as it has been looked at
  FileWindow window;           ///< on the base file
  Fd lastread;                 ///< the area's .sql file, opened for the first kill
  bool lastread_known = false;  ///< it has been looked for
};

}  // namespace quelmo
