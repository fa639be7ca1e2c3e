// The kludges at the head of a new message.
#pragma once

#include <cstdint>
#include <string>

#include "core/address.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

/// INTL, FMPT and TOPT unless it is echomail; FLAGS; MSGID; PID. `serial` is that of the MSGID; 0: a new one.
LineList make_kludges(const Msg& msg, bool echomail, uint32_t serial = 0);

/// An INTL line of both addresses, CR at its end.
std::string intl_kludge(const Msg& msg);

/// A MSGID line of `from`, CR at its end; a new serial, which may take a hundredth of a second, for 0.
std::string make_msgid(const FtnAddr& from, uint32_t serial = 0);

}  // namespace quelmo
