// A packet (FTS-0001, FSC-0039, FSC-0048; docs/formats/pkt.md): a header of 58 bytes, packed messages one
// behind the other, and a u16 of 0. All numbers are little-endian. On disk: never change.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

#include "message/line_list.h"
#include "message/msg.h"
#include "message/packet_scan.h"

namespace quelmo {

constexpr size_t pkt_header_size = 58;
constexpr size_t pkt_msg_header_size = 34;
constexpr uint16_t pkt_type_2 = 2;
constexpr uint16_t pkt_cap_word = 0x0001;  ///< type 2+ is what we can
constexpr uint16_t pkt_cap_word_copy = 0x0100;
constexpr uint16_t pkt_net_of_points = 0xFFFF;     ///< origNet of a packet from a point
constexpr std::string_view pkt_end = {"\0\0", 2};  ///< behind the last message

template <class Io, class Header>
void pkt_header_fields(Io& io, Header& h) {
  io.u16(h.origNode);
  io.u16(h.destNode);
  io.u16(h.year);
  io.u16(h.month);
  io.u16(h.day);
  io.u16(h.hour);
  io.u16(h.minute);
  io.u16(h.second);
  io.u16(h.baud);
  io.u16(h.packetType);
  io.u16(h.origNet);
  io.u16(h.destNet);
  io.u8(h.prodCodeLo);
  io.u8(h.revMajor);
  io.raw(h.password);
  io.u16(h.qOrigZone);
  io.u16(h.qDestZone);
  io.u16(h.auxNet);
  io.u16(h.cwCopy);
  io.u8(h.prodCodeHi);
  io.u8(h.revMinor);
  io.u16(h.capWord);
  io.u16(h.origZone);
  io.u16(h.destZone);
  io.u16(h.origPoint);
  io.u16(h.destPoint);
  io.u32(h.prodData);
}

template <class Io, class Header>
void pkt_msg_fields(Io& io, Header& h) {
  io.u16(h.pktType);
  io.u16(h.origNode);
  io.u16(h.destNode);
  io.u16(h.origNet);
  io.u16(h.destNet);
  io.u16(h.attr);
  io.u16(h.cost);
  io.text(h.date, 20);
}

/// The 58 bytes of a header.
std::string pkt_header_bytes(const PktHeader& header);

/// Takes a header off the start of `bytes`. False if they are fewer than a header; the packet type isn't
/// looked at.
bool read_pkt_header_bytes(std::string_view bytes, PktHeader& header);

/// The addresses that a header tells. A zone of 0 is that of the older copy; the net of a point's packet is
/// auxNet. No domains.
FtnAddr pkt_from(const PktHeader& header);
FtnAddr pkt_to(const PktHeader& header);

/// Puts addresses into a header with all their copies: zones twice, a point's net in auxNet.
void set_pkt_from(PktHeader& header, const FtnAddr& from);
void set_pkt_to(PktHeader& header, const FtnAddr& to);

/// At most 8 bytes, zeros behind.
void set_pkt_password(PktHeader& header, std::string_view password);

enum class Taken {
  whole,    ///< a message, `at` behind it
  grunged,  ///< no message of type 2 begins here
  cut,      ///< its names or its subject reach the end
};

/// Takes the message at offset `at` of `bytes`, the messages of a packet without its final 0. Their last byte
/// is a NUL, or the text ends with them. A name's field holds 35 characters, a subject's 71: what is longer
/// runs into the next field. Nothing beyond `bytes` is read. The date is as it stands. `at` moves only for a
/// whole message.
Taken take_packed(std::string_view bytes, size_t& at, PackedMsg& msg, LineList& text);

/// Appends a message to `out`: 34 bytes, receiver, sender, subject, text, each text with its NUL. The final 0
/// of the packet isn't part of it.
void put_packed(std::string& out, const PackedMsg& msg, const LineList& text);

/// What a `Msg` takes of a packed message: names, subject, date, attributes, time, net and node; zones become
/// 0, points stay.
void packed_to_msg(const PackedMsg& packed, Msg& msg);

/// The reverse, with `from` as its origin.
PackedMsg msg_to_packed(const Msg& msg, const FtnAddr& from);

/// Rewrites a date as unix_to_fts does; one that can't be read becomes that of now, with a log line.
void normalise_pkt_date(FixedText<20>& date);

}  // namespace quelmo
