// The header of a message in memory.
#pragma once

#include <cstdint>
#include <ctime>

#include "core/address.h"
#include "core/fixed_text.h"

namespace quelmo {

struct Msg {
  FtnAddr to;
  FtnAddr
      from;  ///< its domain is that of the AKA that matched; in echomail packets the address of the Origin
  FixedText<36> fromname;
  FixedText<36> toname;
  FixedText<72> subject;
  FixedText<20> date;  ///< date text as stored, or made by unix_to_fts
  uint16_t attr = 0;
  uint16_t flags = 0;     ///< words of the FLAGS kludge
  uint32_t intattr = 0;   ///< internal flags, never stored
  uint16_t flavor = 0;    ///< outbound flavour
  FtnAddr routeto;        ///< where the message goes next
  FixedText<128> domain;  ///< domain of the AKA that matched
  FixedText<128> intl;    ///< INTL kludge: destination, blank, origin; empty if it isn't valid
  FixedText<128> replyto;
  FixedText<128> msgid;
  uint32_t loops = 0;      ///< times that a foreign Via follows one of this system
  uint32_t linecount = 0;  ///< body elements: neither kludge, tear line nor Origin
  uint32_t length = 0;     ///< bytes of the text, worked out when asked for; 0 is not yet
  std::time_t time = 0;
  std::time_t viatime = 0;  ///< time in the last Via line if that is this system's, else 0
  FtnAddr pktfrom;          ///< in echomail packets the sender before the Origin's address replaced it

  bool has(uint32_t internal_flag) const { return (intattr & internal_flag) != 0; }
};

}  // namespace quelmo
