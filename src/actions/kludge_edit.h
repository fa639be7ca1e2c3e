// Bringing the kludges and the Origin of a text into line with the addresses of a message.
#pragma once

#include <string_view>

#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

/// Rewrites INTL, FMPT, TOPT, a Via at the very end and the Origin for the addresses of `msg`; FMPT and TOPT
/// come and go with the points. `msg.intl` follows. A text without INTL doesn't get one.
void change_netmail_kludges(Msg& msg, LineList& list);

/// Rewrites MSGID, with a new serial, and the Origin for the sender of `msg`.
void change_echomail_kludges(const Msg& msg, LineList& list);

/// Takes out what only netmail has: DOMAIN, FMPT, INTL, TOPT, Via and Recv lines, and of a FLAGS line the
/// words that are known; one that loses all its words goes.
void strip_netmail_kludges(LineList& list);

/// Puts the text of `addr` in the place of the address of an Origin line; a line without one stays.
void replace_origin(LineList& list, size_t element, const FtnAddr& addr);

}  // namespace quelmo
