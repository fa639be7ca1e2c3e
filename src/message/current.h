// The one area being scanned and the one message in memory.
#pragma once

#include <cstdint>
#include <string>

#include "config/areas.h"
#include "core/fixed_text.h"
#include "message/line_list.h"
#include "message/msg.h"
#include "message/packet_scan.h"
#include "message/scan_state.h"

namespace quelmo {

/// The area being scanned; `reset_globals` starts it afresh.
struct CurrentArea {
  AreaType type = area_fido;
  FixedText<20> tag;  ///< as the script gave it; empty while no area is selected
  FixedText<128> path;
  FidoScan fido;
  PktScan pkt;  ///< of pkt and bink areas
  JamScan jam;
  SqScan sq;
  uint32_t msgno = 0;          ///< number of the message in memory; 0: no message is in memory
  uint32_t lastread_no = 0;    ///< its number for lastread files
  uint32_t lastread_prev = 0;  ///< that of the message before
  uint32_t maxts = 0;          ///< highest time stamp seen in this scan
};

/// The message in memory.
struct CurrentMessage {
  Msg hdr;
  Msg oldhdr;            ///< copy of `hdr` as it was read; the OLD... macros show it
  LineList text;         ///< the whole text, kludges and all
  LineList vias;         ///< copy of the Via lines that stood in the text as read
  std::string lastname;  ///< file or path that the last add_msg wrote, handed to scripts
  int sq_errno = 0;
  int jam_errno = 0;
};

extern CurrentArea CurMsg;
extern CurrentMessage current;

/// Forgets the message: text and Via lines, FLAGS words and internal flags, `msgno`. The rest of `hdr` stays.
void forget_message();

/// Logs once for each message, ahead of the lines of the actions on it: number, sender and addressee.
void log_message_once();

/// `hdr.length`, worked out if it isn't yet.
uint32_t message_length();

/// The two checksums by which the dupe store knows the message in memory: of its addresses, names, date and
/// subject as one running CRC, and of its MSGID. Neither is inverted at the end.
void msg_crcs(uint32_t& header_crc, uint32_t& msgid_crc);

/// True if there is a message; else logs "<label> no active message in memory".
bool message_in_memory(const char* label, int level = 3);

}  // namespace quelmo
