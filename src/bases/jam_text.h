// What a JAM base keeps of a message, and where: kludges, SEEN-BY and PATH lines are subfields behind the
// header, addresses stand for the kludges INTL, FMPT and TOPT, some FLAGS words are attribute bits, and the
// rest is the text in .jdt. A read makes lines of all that, a write takes the lines apart again.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "bases/jam_records.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

struct Subfield {
  uint16_t id = 0;         ///< the high half of the id is reserved, and in use here and there
  std::string_view value;  ///< its bytes in the block
  std::string_view raw;    ///< with its header
};

/// Takes the first subfield off `block`. False at the end, and where the length of one runs past the block.
bool next_subfield(std::string_view& block, Subfield& field);

/// CRC-32 without final inversion over the text in lower case, as JAM has it.
uint32_t jam_crc(std::string_view text);

/// Fills names, addresses, subject, date and attributes of `msg`, and its lines: the control lines of the
/// subfields, INTL, FMPT and TOPT made of the addresses of netmail, the body up to its first NUL, and the
/// SEEN-BY, PATH and Via lines behind it. `tail` is scratch memory. Values count up to 255 bytes.
void jam_to_msg(const JAMHDR& hdr, std::string_view subfields, std::string_view body, std::string& tail,
                Msg& msg, LineList& text);

/// The two variable parts of a stored message.
struct JamParts {
  std::string subfields;
  std::string body;
};

/// Dates and attributes of `msg` into `hdr`. Attribute bits that no table maps stay as they are.
void msg_to_jam(const Msg& msg, JAMHDR& hdr);

/// Takes the lines apart; sets lengths and CRCs in `hdr` and `idx`, and the attribute bits that stand for
/// FLAGS words. `old_subfields` is the block that the message has so far, empty for a new one: subfields of
/// ids that aren't known here are taken over as they are, addresses of echomail keep their points, which no
/// line tells, and the attribute bits of FLAGS words stay if the message had no FLAGS subfield and has no
/// FLAGS line.
void text_to_jam(const Msg& msg, const LineList& text, std::string_view old_subfields, JAMHDR& hdr,
                 JAMIDX& idx, JamParts& parts);

}  // namespace quelmo
