#include "bases/pkt_records.h"

#include <algorithm>

#include "bases/dates.h"
#include "core/byte_order.h"
#include "core/log.h"

namespace quelmo {
namespace {

// A text of at most N - 1 bytes and its NUL, at `at` of `bytes`: false if nothing is left behind it.
template <size_t N>
bool take_text(std::string_view bytes, size_t& at, FixedText<N>& text) {
  text = bytes.substr(at, FixedText<N>::limit);
  at += text.size() + 1;
  return at < bytes.size();
}

template <size_t N>
void put_text(std::string& out, const FixedText<N>& text) {
  out += text.view();
  out += '\0';
}

}  // namespace

std::string pkt_header_bytes(const PktHeader& header) {
  ByteWriter writer;
  pkt_header_fields(writer, header);
  return writer.bytes();
}

bool read_pkt_header_bytes(std::string_view bytes, PktHeader& header) {
  ByteReader reader(bytes);
  pkt_header_fields(reader, header);
  return !reader.short_input();
}

FtnAddr pkt_from(const PktHeader& h) {
  bool net_elsewhere = h.origNet == pkt_net_of_points && (h.origPoint != 0 || h.auxNet != 0);
  return {.zone = h.origZone != 0 ? h.origZone : h.qOrigZone,
          .net = net_elsewhere ? h.auxNet : h.origNet,
          .node = h.origNode,
          .point = h.origPoint};
}

FtnAddr pkt_to(const PktHeader& h) {
  return {.zone = h.destZone != 0 ? h.destZone : h.qDestZone,
          .net = h.destNet,
          .node = h.destNode,
          .point = h.destPoint};
}

void set_pkt_from(PktHeader& h, const FtnAddr& from) {
  h.origZone = from.zone;
  h.qOrigZone = from.zone;
  h.origNet = from.point != 0 ? pkt_net_of_points : from.net;
  h.auxNet = from.point != 0 ? from.net : uint16_t{0};
  h.origNode = from.node;
  h.origPoint = from.point;
}

void set_pkt_to(PktHeader& h, const FtnAddr& to) {
  h.destZone = to.zone;
  h.qDestZone = to.zone;
  h.destNet = to.net;
  h.destNode = to.node;
  h.destPoint = to.point;
}

void set_pkt_password(PktHeader& header, std::string_view password) {
  header.password = {};
  password.copy(header.password.data(), header.password.size());
}

Taken take_packed(std::string_view bytes, size_t& at, PackedMsg& msg, LineList& text) {
  text.clear();
  if (at > bytes.size() || bytes.size() - at < pkt_msg_header_size) return Taken::grunged;
  ByteReader reader(bytes.substr(at, pkt_msg_header_size));
  pkt_msg_fields(reader, msg.header);
  if (msg.header.pktType != pkt_type_2) return Taken::grunged;
  msg.toname.clear();
  msg.fromname.clear();
  msg.subject.clear();
  size_t next = at + pkt_msg_header_size;
  if (next < bytes.size()) {
    if (!take_text(bytes, next, msg.toname) || !take_text(bytes, next, msg.fromname) ||
        !take_text(bytes, next, msg.subject)) {
      return Taken::cut;
    }
    size_t end = std::min(bytes.find('\0', next), bytes.size());
    text.split(bytes.substr(next, end - next));
    next = std::min(end + 1, bytes.size());
  }
  at = next;
  return Taken::whole;
}

void put_packed(std::string& out, const PackedMsg& msg, const LineList& text) {
  ByteWriter writer;
  pkt_msg_fields(writer, msg.header);
  out += writer.bytes();
  put_text(out, msg.toname);
  put_text(out, msg.fromname);
  put_text(out, msg.subject);
  text.join_to(out);
  out += '\0';
}

void packed_to_msg(const PackedMsg& packed, Msg& msg) {
  msg.to.zone = 0;
  msg.to.net = packed.header.destNet;
  msg.to.node = packed.header.destNode;
  msg.from.zone = 0;
  msg.from.net = packed.header.origNet;
  msg.from.node = packed.header.origNode;
  msg.toname = packed.toname;
  msg.fromname = packed.fromname;
  msg.subject = packed.subject;
  msg.date = packed.header.date;
  msg.attr = packed.header.attr;
  msg.time = fts_to_unix(packed.header.date);
}

PackedMsg msg_to_packed(const Msg& msg, const FtnAddr& from) {
  PackedMsg packed = {.header = {.origNode = from.node,
                                 .destNode = msg.to.node,
                                 .origNet = from.net,
                                 .destNet = msg.to.net,
                                 .attr = msg.attr,
                                 .date = msg.date},
                      .toname = msg.toname,
                      .fromname = msg.fromname,
                      .subject = msg.subject};
  return packed;
}

void normalise_pkt_date(FixedText<20>& date) {
  std::time_t time = text_to_unix(date);
  if (time == 0) {
    log_line(0, "read_pkt_msg error: invalid date `%s', set current\n", date.c_str());
    time = std::time(nullptr);
  }
  date = unix_to_fts(time);
}

}  // namespace quelmo
