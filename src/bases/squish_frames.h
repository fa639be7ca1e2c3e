// The two files of a Squish base (docs/formats/squish.md), all numbers little-endian. On disk: never change.
//
//   <path>.sqd   SqBase, 256 bytes; behind it frames, each an SqHdr of 28 bytes and, in the frame of a
//   message,
//                XMsg, control text, message text. Frames of messages are chained in the order of their
//                numbers, free frames in the order in which they came free.
//   <path>.sqi   an SqIdx of 12 bytes for each message, in the order of their numbers.
//
// What goes wrong is told in current.sq_errno and in the log; the functions here then give false.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "core/byte_order.h"
#include "message/scan_state.h"
#include "platform/files.h"

namespace quelmo {

constexpr uint32_t sq_base_size = 256;
constexpr uint32_t sq_hdr_size = 28;
constexpr uint32_t sq_xmsg_size = 238;
constexpr uint32_t sq_idx_size = 12;
constexpr uint32_t sq_frame_id = 0xAFAE4453;
constexpr uint32_t sq_dead = 0xFFFFFFFF;         ///< offset of an entry whose message is gone
constexpr uint32_t sq_attr_umsgid = 0x00020000;  ///< in XMsg::attr: `umsgid` is valid

enum SqFrameType : uint16_t { sq_message = 0, sq_free = 1, sq_being_written = 3 };

/// Values of sq_errno.
enum SqError : int {
  sq_ok = 0,
  sq_bad_base = 2,
  sq_open = 3,
  sq_seek = 4,
  sq_read = 5,
  sq_write = 6,
  sq_bad_id = 7,
  sq_bad_type = 8,
  sqi_read = 12,
  sqi_write = 13,
  sqi_bad_ofs = 14,
  sqi_bad_umsgid = 15,
  sqi_bad_count = 16,
  sq_short_xmsg = 17,
  sq_short_ctrl = 18,
  sq_short_text = 19,
  sq_in_writing = 23,
  sq_locked = 24,
  sq_end = 25,
};

struct SqBase {
  uint16_t len = sq_base_size;
  uint16_t reserved = 0;
  uint32_t num_msg = 0;
  uint32_t high_msg = 0;
  uint32_t skip_msg = 0;
  uint32_t high_water = 0;
  uint32_t uid = 1;  ///< next unique message id
  std::array<char, 80> base = {};
  uint32_t begin_frame = 0;  ///< chain of messages: first and last, 0 for none
  uint32_t last_frame = 0;
  uint32_t free_frame = 0;  ///< chain of free frames
  uint32_t last_free_frame = 0;
  uint32_t end_frame = sq_base_size;  ///< where the next new frame goes
  uint32_t max_msg = 0;               ///< limit on high_msg, 0 for none
  uint16_t keep_days = 0;
  uint16_t sz_sqhdr = sq_hdr_size;
  std::array<char, 124> rest = {};
};

struct SqHdr {
  uint32_t id = sq_frame_id;
  uint32_t next_frame = 0;  ///< of the same chain, 0 at its end
  uint32_t prev_frame = 0;
  uint32_t frame_length = 0;  ///< bytes behind this header that belong to the frame
  uint32_t msg_length = 0;    ///< of them in use
  uint32_t clen = 0;          ///< control text with its NUL
  uint16_t frame_type = sq_message;
  uint16_t reserved = 0;
};

template <class Record, class Wanted>
concept RecordOf = std::same_as<std::remove_const_t<Record>, Wanted>;

template <class Io, RecordOf<SqBase> Record>
void fields(Io& io, Record& b) {
  io.u16(b.len);
  io.u16(b.reserved);
  io.u32(b.num_msg);
  io.u32(b.high_msg);
  io.u32(b.skip_msg);
  io.u32(b.high_water);
  io.u32(b.uid);
  io.raw(b.base);
  io.u32(b.begin_frame);
  io.u32(b.last_frame);
  io.u32(b.free_frame);
  io.u32(b.last_free_frame);
  io.u32(b.end_frame);
  io.u32(b.max_msg);
  io.u16(b.keep_days);
  io.u16(b.sz_sqhdr);
  io.raw(b.rest);
}

template <class Io, RecordOf<SqHdr> Record>
void fields(Io& io, Record& h) {
  io.u32(h.id);
  io.u32(h.next_frame);
  io.u32(h.prev_frame);
  io.u32(h.frame_length);
  io.u32(h.msg_length);
  io.u32(h.clen);
  io.u16(h.frame_type);
  io.u16(h.reserved);
}

template <class Io, RecordOf<SqAddr> Record>
void fields(Io& io, Record& a) {
  io.u16(a.zone);
  io.u16(a.net);
  io.u16(a.node);
  io.u16(a.point);
}

template <class Io, RecordOf<XMsg> Record>
void fields(Io& io, Record& m) {
  io.u32(m.attr);
  io.text(m.from, 36);
  io.text(m.to, 36);
  io.text(m.subject, 72);
  fields(io, m.orig);
  fields(io, m.dest);
  io.u32(m.date_written);
  io.u32(m.date_arrived);
  io.u16(m.utc_ofs);
  io.u32(m.replyto);
  for (auto& reply : m.replies) io.u32(reply);
  io.u32(m.umsgid);
  io.text(m.ftsc_date, 20);
}

template <class Io, RecordOf<SqIdx> Record>
void fields(Io& io, Record& i) {
  io.u32(i.ofs);
  io.u32(i.umsgid);
  io.u32(i.hash);
}

/// Bytes of a record of this file.
template <class Record>
std::string sq_bytes(const Record& record) {
  ByteWriter writer;
  fields(writer, record);
  return writer.bytes();
}

/// Sets sq_errno; false.
bool sq_fail(SqError code);
/// Prints the text of sq_errno on stdout.
void sq_error();

/// Hash of an addressee's name in the index, 31 bits.
uint32_t squish_hash(std::string_view name);

/// Length of a file; 0 where it can't be told.
uint64_t sq_length(const Fd& file);

bool read_sqbase(const Fd& sqd, SqBase& base);
bool update_sqbase(const Fd& sqd, const SqBase& base);

/// Reads and checks the header at `offset`. One that is being written is looked at some more times.
bool read_sqhdr(const Fd& sqd, uint32_t offset, SqFrameType type, SqHdr& hdr);
bool write_sqhdr(const Fd& sqd, uint32_t offset, const SqHdr& hdr);

/// A message as it stands in its frame. The texts are bytes of the window and stand until its next use; they
/// end at their NUL, if they have one.
struct SqMessage {
  SqHdr hdr;
  XMsg xmsg;
  std::string_view ctrl;
  std::string_view text;
};

/// Reads the message at `offset`. No more is read than the file has: `size` is its length, and is asked for
/// anew where a frame lies beyond it.
bool read_sqmessage(const Fd& sqd, FileWindow& window, uint64_t& size, uint32_t offset, SqMessage& message);

/// Header and content of the message at `offset`, as they are: for a copy.
bool read_sqframe(const Fd& sqd, FileWindow& window, uint64_t& size, uint32_t offset, SqHdr& hdr,
                  std::string_view& content);

/// Calls `each(record)` for the records of an index from number `first` on, until it gives false. False if
/// the file can't be read or ends in half a record.
template <class Each>
bool each_sqidx(const Fd& sqi, uint64_t first, Each each) {
  char block[512 * sq_idx_size];
  for (uint64_t at = first * sq_idx_size;; at += sizeof block) {
    ssize_t got = read_at(sqi, block, sizeof block, at);
    if (got < 0 || got % sq_idx_size != 0) return false;
    ByteReader reader({block, static_cast<size_t>(got)});
    for (ssize_t i = 0; i < got / ssize_t{sq_idx_size}; i++) {
      SqIdx record;
      fields(reader, record);
      if (!each(record)) return true;
    }
    if (got < static_cast<ssize_t>(sizeof block)) return true;
  }
}

/// True for the record that other programs leave where there is no message yet, or no more.
constexpr bool is_blank_record(const SqIdx& record) {
  return record.ofs == 0 || record.umsgid == sq_dead;
}

}  // namespace quelmo
