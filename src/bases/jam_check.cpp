#include "bases/jam_check.h"

#include <optional>
#include <string>
#include <unordered_set>

#include "bases/jam_files.h"
#include "bases/jam_text.h"
#include "bases/pack_image.h"
#include "core/crc32.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"

namespace quelmo {
namespace {

/// The base that is looked at, and the message in hand.
struct View {
  View(std::string_view base, Look& report) : path(base), look(report) {}

  std::string path;
  Look& look;
  JamScan scan;
  uint32_t live = 0;
  std::unordered_set<uint32_t> seen;  // offsets of headers
  std::string_view subfields;
  std::string_view body;
};

/// "path.jhr: message 12 at 1024": where a fault lies.
std::string place(const View& view) {
  return format_text("%s.jhr: message %u at %u", view.path.c_str(), view.scan.msg_no,
                     view.scan.idx.HdrOffset);
}

void check_crc(View& view, const char* name, uint32_t stored, uint32_t worked_out) {
  if (stored == worked_out) return;
  view.look.fault("%s: %s is %08x, should be %08x", place(view).c_str(), name, stored, worked_out);
}

void check_subfields(View& view) {
  const JAMHDR& hdr = view.scan.hdr;
  std::string_view block = view.subfields;
  uint32_t user = crc32_start;
  uint32_t msgid = crc32_start;
  uint32_t reply = crc32_start;
  Subfield field;
  while (next_subfield(block, field)) {
    if (field.id == jam_to_name) user = jam_crc(field.value);
    if (field.id == jam_msgid) msgid = jam_crc(field.value);
    if (field.id == jam_reply) reply = jam_crc(field.value);
  }
  if (!block.empty()) {
    view.look.fault("%s: the subfield at %zu of %zu runs past the block", place(view).c_str(),
                    view.subfields.size() - block.size(), view.subfields.size());
  }
  check_crc(view, "UserCRC", view.scan.idx.UserCRC, user);
  check_crc(view, "MsgIdCRC", hdr.MsgIdCRC, msgid);
  check_crc(view, "ReplyCRC", hdr.ReplyCRC, reply);
}

/// Subfields and text of the message in hand; false if they aren't there.
bool take_parts(View& view) {
  JamScan& scan = view.scan;
  std::optional<std::string_view> subfields =
      window_at(scan.jhr, uint64_t{scan.idx.HdrOffset} + jam_header_size, scan.hdr.SubfieldLen);
  std::optional<std::string_view> body = window_at(scan.jdt, scan.hdr.TxtOffset, scan.hdr.TxtLen);
  if (!subfields) {
    view.look.fault("%s: SubfieldLen %u runs past the file", place(view).c_str(), scan.hdr.SubfieldLen);
  }
  if (!body) {
    view.look.fault("%s: text of %u bytes at %u runs past %s.jdt", place(view).c_str(), scan.hdr.TxtLen,
                    scan.hdr.TxtOffset, view.path.c_str());
  }
  if (!subfields || !body) return false;
  view.subfields = *subfields;
  view.body = *body;
  return true;
}

void look_at_message(View& view) {
  JamScan& scan = view.scan;
  if (!load_jam_header(scan.jhr, scan.idx.HdrOffset, scan.hdr)) {
    const char* what = current.jam_errno == jam_read_failed     ? "the header lies outside the file"
                       : current.jam_errno == jam_bad_signature ? "no header with the signature of a message"
                                                                : "the header's Revision isn't 1";
    view.look.fault("%s: %s", place(view).c_str(), what);
    return;
  }
  if ((scan.hdr.Attribute & jam_deleted) != 0) {
    view.look.fault("%s: deleted, but its index record isn't", place(view).c_str());
    return;
  }
  view.live++;
  if (scan.hdr.MsgNum != scan.msg_no) {
    view.look.fault("%s: MsgNum is %u", place(view).c_str(), scan.hdr.MsgNum);
  }
  if (!view.seen.insert(scan.idx.HdrOffset).second) {
    view.look.fault("%s: another index record points here, too", place(view).c_str());
  }
  if (!take_parts(view)) return;
  if (view.look.check) return check_subfields(view);
  Msg msg;
  LineList text;
  jam_to_msg(scan.hdr, view.subfields, view.body, scan.tail, msg, text);
  view.look.message(scan.msg_no, msg);
}

void look_at_index(View& view) {
  JamScan& scan = view.scan;
  uint64_t records = scan.jdx.length / jam_index_size;
  if (scan.jdx.length % jam_index_size != 0) {
    view.look.fault("%s.jdx: %ju bytes, the last record isn't whole", view.path.c_str(),
                    static_cast<uintmax_t>(scan.jdx.length));
  }
  for (uint64_t i = 0; i < records; i++) {
    std::optional<std::string_view> bytes = window_at(scan.jdx, i * jam_index_size, jam_index_size);
    if (!bytes) {
      view.look.fault("%s.jdx: record %ju can't be read", view.path.c_str(), static_cast<uintmax_t>(i));
      return;
    }
    scan.idx = jam_decode<JAMIDX>(*bytes);
    scan.msg_no = static_cast<uint32_t>(scan.info.BaseMsgNum + i);
    if (!scan.idx.dead()) look_at_message(view);
  }
  if (view.live != scan.info.ActiveMsgs) {
    view.look.fault("%s.jhr: ActiveMsgs is %u, but %u messages are live", view.path.c_str(),
                    scan.info.ActiveMsgs, view.live);
  }
}

/// False, with the reason on stderr, if there is no base at `path`.
bool look_at_base(std::string_view path, Look& look) {
  View view(path, look);
  if (!open_jam(path, Open::read, view.scan)) return false;
  if (!read_jam_info(view.scan.jhr, view.scan.info) || !measure_jam(view.scan)) {
    bool cut = current.jam_errno == jam_read_failed;
    std::string reason = cut ? "shorter than the head of a base" : "not the head of a JAM base";
    write_stderr(view.path + ".jhr: " + reason + "\n");
    return false;
  }
  look_at_index(view);
  return true;
}

/// Says what an interrupted pack has left beside the base, and which of the two is whole.
void check_image(std::string_view path, bool base_whole, Look& look) {
  std::string leftover = leftover_image(path, jam_extensions);
  if (leftover.empty()) return;
  uint32_t before = look.faults;
  bool image_whole = look_at_base(image_path(path), look) && look.faults == before;
  look.fault("%s: left by an interrupted pack; the base is %s, this image is %s", leftover.c_str(),
             base_whole ? "whole" : "damaged", image_whole ? "whole" : "damaged");
}

}  // namespace

bool jam_look(std::string_view path, Look& look) {
  uint32_t before = look.faults;
  bool readable = look_at_base(path, look);
  bool whole = readable && look.faults == before;
  if (look.check) check_image(path, whole, look);
  return readable;
}

}  // namespace quelmo
