// What a store doesn't hold of a message: zones and points from the kludges, the AKA towards the addressee,
// loops from the Via lines, flavour and route.
#pragma once

#include <string_view>

#include "core/address.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

/// Completes `msg`, which has names, net and node of both sides, date and attributes, from its `text`. `vias`
/// receives copies of the Via lines. `system` is the tag of the area's SYSTEM block, possibly empty. A
/// message whose last Via isn't this system's gets a Via line at its end, and the flag Changed; with
/// TOUCHECHOMAIL off echomail doesn't.
void parse_msg(Msg& msg, LineList& text, LineList& vias, std::string_view system);

/// The texts behind the five kludges that speak of addresses.
struct AddressKludges {
  FixedText<128> intl;
  FixedText<128> fmpt;
  FixedText<128> topt;
  FixedText<128> msgid;
  FixedText<128> reply;
};

/// Works out zones and points of `from` and `to`, which enter with what the base gives (a zone mostly 0).
/// Zones come from INTL, else MSGID, else REPLY, else the main address. An INTL that isn't valid is emptied.
/// The result is 0 or the flags Intl and Interzone.
uint32_t parse_kludges(AddressKludges& k, FtnAddr& from, FtnAddr& to);

/// The flags Seen, Loop, Loop2 and Lastvia that the Via lines give for the own address `aka`; sets `loops`
/// and `viatime` of `msg`.
uint32_t parse_vias(const LineList& vias, const FtnAddr& aka, Msg& msg);

/// Where an Origin line holds its address: from the first digit behind the last "(" to the last ")". Empty if
/// there is none.
std::string_view origin_address(std::string_view line);

/// The address of an Origin line: 1 or 0.
int get_echo_from(std::string_view line, FtnAddr& addr);

}  // namespace quelmo
