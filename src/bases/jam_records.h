// The records of a JAM base (docs/formats/jam.md): head and message headers in .jhr, index in .jdx, subfields
// behind each message header. All numbers are little-endian. On disk: never change.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/byte_order.h"
#include "message/scan_state.h"

namespace quelmo {

constexpr const char* jam_extensions[] = {".jhr", ".jdt", ".jdx"};

constexpr uint32_t jam_signature = 0x004D414A;  ///< "JAM" and a NUL
constexpr uint16_t jam_revision = 1;
constexpr size_t jam_info_size = 1024;
constexpr size_t jam_info_used = 24;  ///< the rest is reserved
constexpr size_t jam_header_size = 76;
constexpr size_t jam_index_size = 8;
constexpr size_t jam_subfield_size = 8;  ///< without its value

// Bits of JAMHDR::Attribute that no table maps.
constexpr uint32_t jam_echomail = 0x01000000;
constexpr uint32_t jam_netmail = 0x02000000;
constexpr uint32_t jam_deleted = 0x80000000;

/// Ids of subfields.
enum JamField : uint16_t {
  jam_from_address = 0,
  jam_to_address = 1,
  jam_from_name = 2,
  jam_to_name = 3,
  jam_msgid = 4,
  jam_reply = 5,
  jam_subject = 6,
  jam_pid = 7,
  jam_file = 9,
  jam_kludge = 2000,
  jam_seen_by = 2001,
  jam_path = 2002,
  jam_flags = 2003,
};

/// What `current.jam_errno` says of the last operation.
enum JamError : int {
  jam_pack_failed = -1,
  jam_ok = 0,
  jam_seek_failed = 7,
  jam_read_failed = 9,
  jam_write_failed = 10,
  jam_lock_failed = 15,
  jam_end = 18,  ///< of the area: no failure
  jam_bad_signature = 19,
  jam_bad_revision = 20,
};

struct JamSubfield {
  uint16_t LoID = 0;
  uint16_t HiID = 0;
  uint32_t DatLen = 0;
};

/// The used part of the head.
template <class Io>
void fields(Io& io, JAMHDRINFO& info) {
  io.u32(info.Signature);
  io.u32(info.DateCreated);
  io.u32(info.ModCounter);
  io.u32(info.ActiveMsgs);
  io.u32(info.PasswordCRC);
  io.u32(info.BaseMsgNum);
}

template <class Io>
void fields(Io& io, JAMHDR& h) {
  io.u32(h.Signature);
  io.u16(h.Revision);
  io.u16(h.ReservedWord);
  io.u32(h.SubfieldLen);
  io.u32(h.TimesRead);
  io.u32(h.MsgIdCRC);
  io.u32(h.ReplyCRC);
  io.u32(h.ReplyTo);
  io.u32(h.Reply1st);
  io.u32(h.ReplyNext);
  io.u32(h.DateWritten);
  io.u32(h.DateReceived);
  io.u32(h.DateProcessed);
  io.u32(h.MsgNum);
  io.u32(h.Attribute);
  io.u32(h.Attribute2);
  io.u32(h.TxtOffset);
  io.u32(h.TxtLen);
  io.u32(h.PasswordCRC);
  io.u32(h.Cost);
}

template <class Io>
void fields(Io& io, JAMIDX& idx) {
  io.u32(idx.UserCRC);
  io.u32(idx.HdrOffset);
}

template <class Io>
void fields(Io& io, JamSubfield& field) {
  io.u16(field.LoID);
  io.u16(field.HiID);
  io.u32(field.DatLen);
}

/// A record from its bytes; what they lack reads as 0.
template <class Record>
Record jam_decode(std::string_view bytes) {
  Record record;
  ByteReader reader(bytes);
  fields(reader, record);
  return record;
}

template <class Record>
std::string jam_encode(Record record) {
  ByteWriter writer;
  fields(writer, record);
  return writer.bytes();
}

}  // namespace quelmo
