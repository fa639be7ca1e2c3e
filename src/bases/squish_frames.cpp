#include "bases/squish_frames.h"

#include <algorithm>

#include "core/console.h"
#include "core/log.h"
#include "message/current.h"
#include "platform/bytes_case.h"
#include "platform/clock.h"

namespace quelmo {
namespace {

struct ErrorText {
  int code;
  const char* text;
};
constexpr ErrorText error_texts[] = {
    {sq_ok, "no errors\n"},
    {1, "general memory allocation failure\n"},
    {sq_bad_base, "sqd: invalid _sqbase header\n"},
    {sq_open, "sqd: open error\n"},
    {sq_seek, "sqd: seek error\n"},
    {sq_read, "sqd: read error\n"},
    {sq_bad_id, "sqd: invalid SQHDR id read\n"},
    {sq_bad_type, "sqd: invalid frame type read\n"},
    {9, "sqd: wrong number of messages read\n"},
    {10, "sqi: open error\n"},
    {11, "sqi: seek error\n"},
    {sqi_read, "sqi: read error\n"},
    {sqi_write, "sqi: write error\n"},
    {sqi_bad_ofs, "sqi: invalid offset value read\n"},
    {sqi_bad_umsgid, "sqi: invalid umsgid value read\n"},
    {sqi_bad_count, "sqi: wrong number of messages read\n"},
    {sq_locked, "squish base locked by another process\n"},
};

constexpr int looks_at_a_frame_in_writing = 10;
constexpr int ms_between_looks = 2;

bool validate_sqhdr(const SqHdr& hdr, uint32_t offset, SqFrameType type) {
  if (hdr.id != sq_frame_id) {
    log_line(2, "validate_SQHDR error: invalid ID:%08X in SQHDR at offset %08X\n", hdr.id, offset);
    return sq_fail(sq_bad_id);
  }
  if (hdr.frame_type == type) return true;
  if (hdr.frame_type == sq_being_written) {
    log_line(2, "msg is locked at offset %08X\n", offset);
    return sq_fail(sq_in_writing);
  }
  log_line(2, "validate_SQHDR error: invalid frame type in SQHDR, expected: %d, got %d at offset %08X\n",
           type, hdr.frame_type, offset);
  return sq_fail(sq_bad_type);
}

// The first `size` bytes of the frame at `offset`, as many as the file has.
std::string_view frame_bytes(const Fd& sqd, FileWindow& window, uint32_t offset, size_t size) {
  return window.at(sqd, offset, size).value_or(std::string_view());
}

// The header through the window; one that isn't that of a message is read again, as it may have been so for a
// moment only.
bool windowed_header(const Fd& sqd, FileWindow& window, uint32_t offset, SqHdr& hdr) {
  std::string_view bytes = frame_bytes(sqd, window, offset, sq_hdr_size);
  ByteReader reader(bytes);
  fields(reader, hdr);
  if (!reader.short_input() && hdr.id == sq_frame_id && hdr.frame_type == sq_message) return true;
  window.forget();
  return read_sqhdr(sqd, offset, sq_message, hdr);
}

// Bytes of the frame's content that lie within the file, at most `wanted`.
uint64_t content_in_file(const Fd& sqd, uint64_t& size, uint32_t offset, uint64_t wanted) {
  uint64_t start = uint64_t{offset} + sq_hdr_size;
  if (start + wanted > size) size = sq_length(sqd);
  return start >= size ? 0 : std::min(wanted, size - start);
}

std::string_view up_to_nul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

}  // namespace

bool sq_fail(SqError code) {
  current.sq_errno = code;
  return false;
}

void sq_error() {
  for (const ErrorText& row : error_texts) {
    if (row.code == current.sq_errno) return print_line("%s", row.text);
  }
  print_line("unknown error code: %d\n", current.sq_errno);
}

uint32_t squish_hash(std::string_view name) {
  uint32_t hash = 0;
  for (char c : name) {
    hash = static_cast<unsigned char>(lower_byte(c)) + hash * 16;
    uint32_t high = hash & 0xF0000000;
    hash |= high >> 24 | high;
  }
  return hash & 0x7FFFFFFF;
}

uint64_t sq_length(const Fd& file) {
  return static_cast<uint64_t>(std::max<int64_t>(file_length(file), 0));
}

bool read_sqbase(const Fd& sqd, SqBase& base) {
  char bytes[sq_base_size];
  ssize_t got = read_at(sqd, bytes, sizeof bytes, 0);
  ByteReader reader({bytes, static_cast<size_t>(std::max<ssize_t>(got, 0))});
  fields(reader, base);
  if (base.len != sq_base_size) {
    log_line(3, "read_sqbase error: _sqbase corrupted (%d read)\n", base.len);
    return sq_fail(sq_read);
  }
  if (!reader.short_input()) return true;
  log_line(3, "read_sqbase: error reading _sqbase header, asked:%u, read:%zd\n", sq_base_size, got);
  return sq_fail(sq_read);
}

bool update_sqbase(const Fd& sqd, const SqBase& base) {
  if (write_at(sqd, sq_bytes(base), 0)) return true;
  log_line(2, "update_sqbase: error writing _sqbase\n");
  return sq_fail(sq_write);
}

bool read_sqhdr(const Fd& sqd, uint32_t offset, SqFrameType type, SqHdr& hdr) {
  for (int look = 1;; look++) {
    char bytes[sq_hdr_size];
    ssize_t got = read_at(sqd, bytes, sizeof bytes, offset);
    if (got != ssize_t{sq_hdr_size}) {
      log_line(2, "read_SQHDR: error reading sqhdr, asked:%u, read:%zd, offset:%08X\n", sq_hdr_size, got,
               offset);
      return sq_fail(sq_read);
    }
    ByteReader reader({bytes, sizeof bytes});
    fields(reader, hdr);
    if (validate_sqhdr(hdr, offset, type)) {
      current.sq_errno = sq_ok;
      return true;
    }
    if (current.sq_errno != sq_in_writing || look == looks_at_a_frame_in_writing) return false;
    sleep_ms(ms_between_looks);
  }
}

bool write_sqhdr(const Fd& sqd, uint32_t offset, const SqHdr& hdr) {
  if (write_at(sqd, sq_bytes(hdr), offset)) return true;
  log_line(2, "write_SQHDR: error writing sqhdr, asked:%u, written:-1, offset:%08X\n", sq_hdr_size, offset);
  return sq_fail(sq_write);
}

bool read_sqmessage(const Fd& sqd, FileWindow& window, uint64_t& size, uint32_t offset, SqMessage& message) {
  SqHdr& hdr = message.hdr;
  if (!windowed_header(sqd, window, offset, hdr)) return false;
  uint64_t parts = uint64_t{hdr.clen} + sq_xmsg_size;
  uint64_t held = content_in_file(sqd, size, offset, std::max<uint64_t>(hdr.msg_length, parts));
  if (held < sq_xmsg_size) return sq_fail(sq_short_xmsg);
  if (held < parts) return sq_fail(sq_short_ctrl);
  // A message that reaches beyond its frame has other people's mail in it.
  if (hdr.msg_length < parts || hdr.msg_length > hdr.frame_length || held < hdr.msg_length)
    return sq_fail(sq_short_text);
  std::string_view bytes = frame_bytes(sqd, window, offset, sq_hdr_size + size_t{hdr.msg_length});
  if (bytes.size() < sq_hdr_size + size_t{hdr.msg_length}) return sq_fail(sq_short_text);
  bytes.remove_prefix(sq_hdr_size);
  ByteReader reader(bytes);
  fields(reader, message.xmsg);
  message.ctrl = bytes.substr(sq_xmsg_size, hdr.clen);
  message.text = up_to_nul(bytes.substr(parts));
  return true;
}

bool read_sqframe(const Fd& sqd, FileWindow& window, uint64_t& size, uint32_t offset, SqHdr& hdr,
                  std::string_view& content) {
  if (!windowed_header(sqd, window, offset, hdr)) return false;
  if (content_in_file(sqd, size, offset, hdr.msg_length) < hdr.msg_length) return sq_fail(sq_short_ctrl);
  if (hdr.msg_length > hdr.frame_length) return sq_fail(sq_short_text);
  std::string_view bytes = frame_bytes(sqd, window, offset, sq_hdr_size + size_t{hdr.msg_length});
  if (bytes.size() < sq_hdr_size + size_t{hdr.msg_length}) return sq_fail(sq_short_ctrl);
  content = bytes.substr(sq_hdr_size);
  return true;
}

}  // namespace quelmo
