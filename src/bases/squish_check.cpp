#include "bases/squish_check.h"

#include <algorithm>
#include <string>
#include <unordered_set>
#include <vector>

#include "bases/pack_image.h"
#include "bases/squish.h"
#include "bases/squish_frames.h"
#include "core/stop.h"
#include "message/current.h"

namespace quelmo {
namespace {

struct Extent {
  uint64_t start = 0;
  uint64_t end = 0;
};

struct CheckedBase {
  Fd sqd;
  Fd sqi;
  uint64_t size = 0;  // of the .sqd file
  SqBase base;
  FileWindow window;
  std::vector<SqIdx> index;           // up to its first blank record
  std::vector<uint32_t> chain;        // frames of messages, in order
  std::vector<Extent> extents;        // of all frames of both chains
  std::unordered_set<uint32_t> seen;  // their offsets
};

struct ChainKind {
  const char* name;
  SqFrameType type;
  uint32_t first;
  uint32_t last;
};

bool header_of(CheckedBase& b, uint32_t offset, SqHdr& hdr) {
  std::string_view bytes = b.window.at(b.sqd, offset, sq_hdr_size).value_or(std::string_view());
  ByteReader reader(bytes);
  fields(reader, hdr);
  return !reader.short_input();
}

// One frame of a chain. False if the chain can't be followed beyond it.
bool check_frame(CheckedBase& b, const ChainKind& kind, uint32_t offset, uint32_t prev, SqHdr& hdr,
                 Look& look) {
  if (!b.seen.insert(offset).second) {
    look.fault("%s chain: frame %08X stands in a chain already", kind.name, offset);
    return false;
  }
  if (offset < sq_base_size || !header_of(b, offset, hdr)) {
    look.fault("%s chain: frame %08X lies outside of the file of %llu bytes", kind.name, offset,
               static_cast<unsigned long long>(b.size));
    return false;
  }
  if (hdr.id != sq_frame_id) {
    look.fault("frame %08X: id %08X", offset, hdr.id);
    return false;
  }
  if (hdr.frame_type != kind.type)
    look.fault("frame %08X: frame_type %u in the %s chain", offset, hdr.frame_type, kind.name);
  if (hdr.prev_frame != prev)
    look.fault("frame %08X: prev_frame %08X, the chain comes from %08X", offset, hdr.prev_frame, prev);
  uint64_t end = uint64_t{offset} + sq_hdr_size + hdr.frame_length;
  if (end > b.size)
    look.fault("frame %08X: frame_length %u reaches beyond the file", offset, hdr.frame_length);
  b.extents.push_back({offset, std::min(end, b.size)});
  return true;
}

void check_message_frame(CheckedBase& b, uint32_t offset, const SqHdr& hdr, Look& look) {
  if (hdr.msg_length > hdr.frame_length)
    look.fault("frame %08X: msg_length %u, frame_length %u", offset, hdr.msg_length, hdr.frame_length);
  if (hdr.msg_length < uint64_t{hdr.clen} + sq_xmsg_size)
    look.fault("frame %08X: msg_length %u, clen %u", offset, hdr.msg_length, hdr.clen);
  b.chain.push_back(offset);
}

void check_chain(CheckedBase& b, const ChainKind& kind, Look& look) {
  uint32_t prev = 0;
  for (uint32_t offset = kind.first; offset != 0;) {
    SqHdr hdr;
    if (!check_frame(b, kind, offset, prev, hdr, look)) return;
    if (kind.type == sq_message) check_message_frame(b, offset, hdr, look);
    prev = offset;
    offset = hdr.next_frame;
  }
  if (prev != kind.last)
    look.fault("%s chain: ends with frame %08X, the header says %08X", kind.name, prev, kind.last);
}

void check_header(const CheckedBase& b, Look& look) {
  if (b.base.num_msg != b.base.high_msg)
    look.fault("header: num_msg %u, high_msg %u", b.base.num_msg, b.base.high_msg);
  if (b.base.num_msg != b.chain.size())
    look.fault("header: num_msg %u, the message chain has %zu frames", b.base.num_msg, b.chain.size());
  if (b.base.end_frame > b.size)
    look.fault("header: end_frame %08X, the file has %llu bytes", b.base.end_frame,
               static_cast<unsigned long long>(b.size));
}

// The frames of both chains cover the file from the header to end_frame.
void check_cover(CheckedBase& b, Look& look) {
  std::sort(b.extents.begin(), b.extents.end(),
            [](const Extent& x, const Extent& y) { return x.start < y.start; });
  b.extents.push_back({b.base.end_frame, b.base.end_frame});
  uint64_t covered = sq_base_size;
  for (const Extent& extent : b.extents) {
    if (extent.start > covered)
      look.fault("%llu bytes at %08llX belong to no chain",
                 static_cast<unsigned long long>(extent.start - covered),
                 static_cast<unsigned long long>(covered));
    if (extent.start < covered)
      look.fault("frame before %08llX reaches into what follows, up to %08llX",
                 static_cast<unsigned long long>(extent.start), static_cast<unsigned long long>(covered));
    covered = std::max(covered, extent.end);
  }
}

void read_index(CheckedBase& b, Look& look) {
  int64_t size = file_length(b.sqi);
  if (size % sq_idx_size != 0)
    look.fault("index: %lld bytes, no whole number of records", static_cast<long long>(size));
  each_sqidx(b.sqi, 0, [&](const SqIdx& record) {
    if (is_blank_record(record)) return false;
    b.index.push_back(record);
    return true;
  });
  if (b.index.size() != b.base.num_msg)
    look.fault("index: %zu records, num_msg is %u", b.index.size(), b.base.num_msg);
}

void check_record(CheckedBase& b, size_t i, Look& look) {
  const SqIdx& record = b.index[i];
  if (i < b.chain.size() && b.chain[i] != record.ofs)
    look.fault("index record %zu: frame %08X, the chain has %08X", i + 1, record.ofs, b.chain[i]);
  if (i > 0 && record.umsgid <= b.index[i - 1].umsgid)
    look.fault("index record %zu: umsgid %u behind %u", i + 1, record.umsgid, b.index[i - 1].umsgid);
  if (record.umsgid >= b.base.uid)
    look.fault("index record %zu: umsgid %u, the next one is to be %u", i + 1, record.umsgid, b.base.uid);
  SqMessage message;
  if (!read_sqmessage(b.sqd, b.window, b.size, record.ofs, message)) {
    look.fault("index record %zu: the message at %08X can't be read, error %d", i + 1, record.ofs,
               current.sq_errno);
    return;
  }
  if ((message.xmsg.attr & sq_attr_umsgid) != 0 && message.xmsg.umsgid != record.umsgid)
    look.fault("index record %zu: umsgid %u, the message has %u", i + 1, record.umsgid, message.xmsg.umsgid);
  uint32_t hash = squish_hash(message.xmsg.to);
  if ((record.hash & 0x7FFFFFFF) != hash)
    look.fault("index record %zu: hash %08X, that of the addressee is %08X", i + 1, record.hash, hash);
}

bool open_base(const std::string& path, CheckedBase& b) {
  b.sqd = open_file(path + ".sqd", Open::read);
  if (b.sqd) b.sqi = open_file(path + ".sqi", Open::read);
  if (b.sqd && b.sqi) {
    b.size = sq_length(b.sqd);
    return true;
  }
  report_errno(path + (b.sqd ? ".sqi" : ".sqd"));
  return false;
}

// False if the files can't be opened; a header that is none is a fault.
bool check_base(const std::string& path, Look& look) {
  CheckedBase b;
  if (!open_base(path, b)) return false;
  if (b.size == 0) {
    if (file_length(b.sqi) != 0) look.fault("the .sqd file is empty, the index isn't");
    return true;
  }
  if (!read_sqbase(b.sqd, b.base)) {
    look.fault("header: %llu bytes, len %u", static_cast<unsigned long long>(b.size), b.base.len);
    return true;
  }
  check_chain(b, {"message", sq_message, b.base.begin_frame, b.base.last_frame}, look);
  check_chain(b, {"free", sq_free, b.base.free_frame, b.base.last_free_frame}, look);
  check_header(b, look);
  check_cover(b, look);
  read_index(b, look);
  for (size_t i = 0; i < b.index.size(); i++) check_record(b, i, look);
  return true;
}

void list_frame(CheckedBase& b, size_t number, uint32_t offset, const Look& look) {
  SqMessage message;
  if (read_sqmessage(b.sqd, b.window, b.size, offset, message)) {
    Msg msg;
    squish_to_msg(message.xmsg, msg);
    look.message(static_cast<uint32_t>(number), msg);
  } else {
    write_stderr("message " + std::to_string(number) + " can't be read\n");
  }
}

bool list_base(const std::string& path, Look& look) {
  CheckedBase b;
  if (!open_base(path, b)) return false;
  if (b.size == 0) return true;
  if (!read_sqbase(b.sqd, b.base)) {
    write_stderr(path + ".sqd: no header of a Squish base\n");
    return false;
  }
  read_index(b, look);
  for (size_t i = 0; i < b.index.size(); i++) list_frame(b, i + 1, b.index[i].ofs, look);
  return true;
}

// How a base that isn't looked at by itself stands.
const char* state_of(const std::string& path) {
  Look silent = {.check = true, .silent = true};
  if (!check_base(path, silent)) return "incomplete";
  return silent.faults == 0 ? "whole" : "damaged";
}

}  // namespace

bool squish_look(std::string_view path, Look& look) {
  std::string base(path);
  if (!look.check) return list_base(base, look);
  if (!check_base(base, look)) return false;
  uint32_t faults = look.faults;
  std::string leftover = leftover_image(base, squish_extensions);
  if (!leftover.empty())
    look.fault("%s is left from an interrupted pack: it is %s, the base is %s", leftover.c_str(),
               state_of(image_path(base)), faults == 0 ? "whole" : "damaged");
  return true;
}

}  // namespace quelmo
