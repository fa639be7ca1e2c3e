// The header of a packet that is to be written: from the addresses of a message and the passwords of its
// area, or from the array that a script gives.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/areas.h"
#include "core/address.h"
#include "core/fixed_text.h"
#include "message/packet_scan.h"

namespace quelmo {

/// The header of a new packet of a bink or pkt area, dated now (UTC), with the area's password for `to`.
PktHeader make_pkt_header(const Area& area, const FtnAddr& from, const FtnAddr& to);

/// The password of `area` for a system; empty without a PASSWORDADDRESS block, or without a line for it.
FixedText<10> packet_password(const Area& area, const FtnAddr& to);

/// Sets a header from the 9 texts of a script: origin, destination, FTS date, password, prodCodeHi,
/// prodCodeLo, revMinor, revMajor, prodData (numbers in hexadecimal; one that is none leaves its field).
/// False, logged with `label`, if their number, an address or the date is wrong; then the header stays.
bool set_pkt_hdr(const std::vector<std::string>& texts, const char* label, PktHeader& header);

}  // namespace quelmo
