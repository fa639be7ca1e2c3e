// A message file of a *.MSG area (FTS-0001, appendix; docs/formats/msg.md): a header of 190 bytes, all
// numbers little-endian, and the text up to a NUL or the end of the file. On disk: never change.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

#include "message/line_list.h"
#include "message/msg.h"
#include "message/scan_state.h"

namespace quelmo {

constexpr size_t fido_header_size = 190;

template <class Io, class Header>
void fields(Io& io, Header& h) {
  io.text(h.fromUserName, 36);
  io.text(h.toUserName, 36);
  io.text(h.subject, 72);
  io.text(h.dateTime, 20);
  io.u16(h.timesRead);
  io.u16(h.destNode);
  io.u16(h.origNode);
  io.u16(h.cost);
  io.u16(h.origNet);
  io.u16(h.destNet);
  io.u16(h.destZone);
  io.u16(h.origZone);
  io.u16(h.destPoint);
  io.u16(h.origPoint);
  io.u16(h.replyTo);
  io.u16(h.attribute);
  io.u16(h.nextReply);
}

/// True for the name of a message file: digits, if any, and ".msg" in any case.
bool is_msg_name(std::string_view name);

/// Takes a file's bytes apart. False if they are fewer than a header. The date is rewritten in the form of
/// unix_to_fts; one that can't be read becomes that of now, with a log line at level 1. `time` receives its
/// seconds.
bool parse_fido_msg(std::string_view bytes, FidoHeader& header, LineList& text, std::time_t& time);

/// Makes a new file of header and text, ended by one NUL, mode 0600. False, logged, if the name exists or the
/// file can't be written; then nothing is left of it.
bool write_fido_msg(std::string_view path, const FidoHeader& header, const LineList& text);

/// What a `Msg` takes of a header: names, subject, date, attributes, net and node; zones become 0.
void fido_to_msg(const FidoHeader& header, std::time_t time, Msg& msg);
/// The reverse. Counters, links and the stored zones and points of the header stay as they are.
void msg_to_fido(const Msg& msg, FidoHeader& header);

}  // namespace quelmo
