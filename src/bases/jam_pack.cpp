#include "bases/jam_pack.h"

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "bases/dates.h"
#include "bases/jam_files.h"
#include "bases/pack_image.h"
#include "core/console.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"

namespace quelmo {
namespace {

/// What a packed base is made of.
struct Packed {
  std::string head;     ///< the first bytes of .jhr, reserved ones as they were
  std::string headers;  ///< what follows them, subfields and all
  std::string index;
  std::vector<FileRange> texts;  ///< of the old .jdt, in their new order
  uint64_t text_size = 0;
  uint32_t count = 0;
};

void add_text(Packed& packed, FileRange text) {
  packed.text_size += text.size;
  if (text.size == 0) return;
  bool follows = !packed.texts.empty() && packed.texts.back().at + packed.texts.back().size == text.at;
  if (follows) {
    packed.texts.back().size += text.size;
  } else {
    packed.texts.push_back(text);
  }
}

/// False, with code and log line, if the packed base would pass what 32 bits address.
bool has_room(const Packed& packed, const JAMHDR& hdr) {
  uint64_t headers = jam_info_size + packed.headers.size() + jam_header_size + uint64_t{hdr.SubfieldLen};
  if (headers <= UINT32_MAX && packed.text_size + hdr.TxtLen <= UINT32_MAX) return true;
  log_line(0, "jam_pack: the packed base would pass 4 GB\n");
  return jam_fail(jam_pack_failed);
}

/// Takes the message of an index record over, unless it is deleted.
bool pack_message(JamScan& scan, const JAMIDX& idx, Packed& packed) {
  JAMHDR hdr;
  if (!load_jam_header(scan.jhr, idx.HdrOffset, hdr)) return false;
  if ((hdr.Attribute & jam_deleted) != 0) return true;
  if (!has_room(packed, hdr)) return false;
  std::optional<std::string_view> subfields =
      window_at(scan.jhr, uint64_t{idx.HdrOffset} + jam_header_size, hdr.SubfieldLen);
  if (!subfields) return jam_fail(jam_read_failed);
  FileRange text = {.at = hdr.TxtOffset, .size = hdr.TxtLen};
  if (text.size != 0 && text.at + text.size > scan.jdt.length) return jam_fail(jam_read_failed);

  hdr.MsgNum = ++packed.count;
  hdr.TxtOffset = static_cast<uint32_t>(packed.text_size);
  JAMIDX moved = {.UserCRC = idx.UserCRC,
                  .HdrOffset = static_cast<uint32_t>(jam_info_size + packed.headers.size())};
  packed.index += jam_encode(moved);
  packed.headers.append(jam_encode(hdr)).append(*subfields);
  add_text(packed, text);
  return true;
}

/// Goes over the index; false if anything in the base isn't as it should be.
bool collect(JamScan& scan, Packed& packed, ProgressLine& progress) {
  uint64_t records = (scan.jdx.length + jam_index_size - 1) / jam_index_size;
  for (uint64_t i = 0; i < records; i++) {
    check_signals();
    progress.one_more();
    std::optional<std::string_view> bytes = window_at(scan.jdx, i * jam_index_size, jam_index_size);
    if (!bytes) return jam_fail(jam_read_failed);
    auto idx = jam_decode<JAMIDX>(*bytes);
    if (!idx.dead() && !pack_message(scan, idx, packed)) return false;
  }
  return true;
}

std::vector<PackedFile> files_of(const JamScan& scan, const Packed& packed, std::string_view head) {
  return {{.extension = ".jhr", .file = &scan.jhr.fd, .pieces = {head, packed.headers}},
          {.extension = ".jdt", .file = &scan.jdt.fd, .pieces = {}, .ranges = packed.texts},
          {.extension = ".jdx", .file = &scan.jdx.fd, .pieces = {packed.index}}};
}

/// Rewrites the files of the base. Headers and texts of two states may fit each other by their numbers alone,
/// so the head has no signature until all is written: what a killed pack leaves isn't taken for a base.
bool rewrite(std::string_view path, const JamScan& scan, const Packed& packed) {
  std::string unsigned_head = packed.head;
  unsigned_head.replace(0, 4, 4, '\0');
  if (!write_at(scan.jhr.fd, unsigned_head.substr(0, 4), 0) || !flush_to_disk(scan.jhr.fd)) return false;
  for (const PackedFile& file : files_of(scan, packed, unsigned_head)) {
    bool written = file.ranges.empty() ? write_in_place(file) : copy_image_in_place(path, file);
    if (!written) return false;
  }
  return write_at(scan.jhr.fd, packed.head.substr(0, 4), 0) && flush_to_disk(scan.jhr.fd);
}

/// Puts the packed base in the place of the old one: the image first, then the files themselves.
bool put_in_place(const Area& area, const JamScan& scan, const Packed& packed) {
  std::vector<PackedFile> image = files_of(scan, packed, packed.head);
  if (!write_image(area.path, image)) return jam_fail(jam_write_failed);
  if (!rewrite(area.path, scan, packed)) {
    log_line(0, "jam_pack: error writing the base: %s; the mail is in `%s'\n", system_error(errno).c_str(),
             image_path(area.path).c_str());
    return jam_fail(jam_write_failed);
  }
  remove_image(area.path, image);
  return true;
}

/// The pack of a base that is open and locked.
bool pack_locked(const Area& area, JamScan& scan) {
  Packed packed;
  if (!jam_read_at(scan.jhr.fd, 0, jam_info_size, packed.head)) return false;
  packed.headers.reserve(scan.jhr.length);
  packed.index.reserve(scan.jdx.length);
  ProgressLine progress("\npacking JAM base (" + upper(area.tag) + ") ", scan.jdx.length / jam_index_size,
                        70);
  if (!collect(scan, packed, progress)) return false;

  scan.info.ActiveMsgs = packed.count;
  scan.info.ModCounter = 0;
  scan.info.BaseMsgNum = 1;
  packed.head.replace(0, jam_info_used, jam_encode(scan.info));
  if (!put_in_place(area, scan, packed)) return false;
  if (config.chat) {
    std::string sizes =
        format_text("JAM area: %s.  Original size= %ju. Packed size= %ju.\n", area.tag.c_str(),
                    static_cast<uintmax_t>(scan.jdt.length), static_cast<uintmax_t>(packed.text_size));
    progress.done();
    print_progress("%s", sizes.c_str());
    log_text(1, sizes);
  }
  return true;
}

}  // namespace

int jam_pack(const Area& area) {
  current.jam_errno = jam_ok;
  JamScan scan;
  log_leftover_image(area, jam_extensions);
  if (!open_jam(area.path, Open::update, scan)) return 0;
  JamLock lock(scan.jhr.fd, false);
  if (!lock || !read_jam_info(scan.jhr, scan.info) || !measure_jam(scan)) return 0;
  if (scan.jdt.length == 0) {
    log_line(3, "jam_pack: nothing to do\n");
    return 1;
  }
  return pack_locked(area, scan) ? 1 : 0;
}

void create_new_jambase(std::string_view path) {
  JAMHDRINFO info = {.Signature = jam_signature, .DateCreated = static_cast<uint32_t>(std::time(nullptr))};
  std::string head = jam_encode(info);
  head.resize(jam_info_size, '\0');
  std::vector<std::string> made;
  // The headers come last: without them the base isn't there.
  for (const char* extension : {".jlr", ".jdt", ".jdx", ".jhr"}) {
    std::string name = std::string(path) + extension;
    bool headers = std::string_view(extension) == ".jhr";
    if (std::string_view(extension) == ".jlr" && file_exists(name)) continue;
    Fd file = open_file(name, Open::create_new, 0600);
    bool created = static_cast<bool>(file);
    if (created) made.push_back(name);
    if (created && (!headers || write_all(file, head)) && file.close()) continue;
    report_errno(name);
    for (const std::string& part : made) remove_file(part);
    const char* what = created ? "wriing" : "creating";
    stop_run_logged("create_new_jambase: error %s %s", what, name.c_str());
  }
}

}  // namespace quelmo
