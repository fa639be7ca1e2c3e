#include "outbound/scratch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <unordered_map>
#include <utility>
#include <vector>

#include "bases/outbound_names.h"
#include "bases/pkt_header.h"
#include "bases/pkt_records.h"
#include "core/byte_order.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {
namespace {

enum class Kind : char { packet = 'p', attach = 'f', request = 'r' };

struct ScratchFile {
  std::string dir;  // with a closing separator
  std::string name;
  Fd file;              // open while mail is being added
  uint64_t length = 0;  // of the open file
};

// The directories that have been written to; a key holds the place of one.
std::vector<std::string> scratch_dirs;

// What a file is for: directory, kind and letter of the flavour, both addresses.
using ScratchKey = std::array<uint16_t, 10>;

struct KeyHash {
  size_t operator()(const ScratchKey& key) const {
    constexpr uint64_t prime = 0x100000001B3;
    uint64_t hash = 0;
    for (uint16_t part : key) hash = (hash ^ part) * prime;
    return static_cast<size_t>(hash ^ hash >> 32);
  }
};

// The files. They stay open from one message to the next: looking for the end of a file again for each
// message would cost more than writing it.
std::unordered_map<ScratchKey, ScratchFile, KeyHash> scratch_files;
size_t open_files = 0;
constexpr size_t most_open_files = 200;

uint16_t number_of(const std::string& dir) {
  auto same = [&](const std::string& known) { return equal_nocase(known, dir); };
  auto found = std::find_if(scratch_dirs.begin(), scratch_dirs.end(), same);
  if (found == scratch_dirs.end()) found = scratch_dirs.insert(found, dir);
  return static_cast<uint16_t>(found - scratch_dirs.begin());
}

ScratchKey key_of(const FtnAddr& to, const FtnAddr& from, const std::string& dir, Kind kind, char letter) {
  int what = static_cast<unsigned char>(kind) << 8 | static_cast<unsigned char>(letter);
  return {number_of(dir), static_cast<uint16_t>(what),
          to.zone,        to.net,
          to.node,        to.point,
          from.zone,      from.net,
          from.node,      from.point};
}

// A name that no file of the directory has; empty if none is to be had.
std::string make_new_oip_name(const std::string& dir, Kind kind, char letter) {
  constexpr int attempts = 100;
  std::string extension = kind == Kind::request ? "ir" : std::string{letter, 'i', static_cast<char>(kind)};
  for (int i = 0; i < attempts; i++) {
    std::string name = format_text("%08x.%s", unique_stamp(), extension.c_str());
    if (!file_exists(dir + name)) return name;
  }
  log_line(6, "make_new_oip_name: get new name from %dth attempt\n", attempts);
  return {};
}

// The file for this pair of addresses; null if it can't be given a name.
ScratchFile* get_oip_name(const FtnAddr& to, const FtnAddr& from, const std::string& dir, Kind kind,
                          char letter) {
  ScratchFile& found = scratch_files[key_of(to, from, dir, kind, letter)];
  if (!found.name.empty()) {
    log_line(4, "get_oip_name: get name from cache, `%s'\n", found.name.c_str());
    return &found;
  }
  found.dir = dir;
  found.name = make_new_oip_name(dir, kind, letter);
  if (found.name.empty()) {
    log_line(4, "get_oip_name: fail to get a new name\n");
    return nullptr;
  }
  log_line(4, "get_oip_name: add new name to cache, `%s'\n", found.name.c_str());
  return &found;
}

bool open_scratch(ScratchFile& scratch) {
  if (scratch.file) return true;
  if (open_files >= most_open_files) close_scratch_files();
  fix_path(scratch.dir);
  scratch.file = open_file(scratch.dir + scratch.name, Open::create, 0600);
  if (!scratch.file) return false;
  open_files++;
  int64_t length = file_length(scratch.file);
  scratch.length = length < 0 ? 0 : static_cast<uint64_t>(length);
  return true;
}

// Adds bytes to the file, or nothing of them.
bool append(ScratchFile& scratch, std::string_view bytes) {
  if (write_at(scratch.file, bytes, scratch.length)) {
    scratch.length += bytes.size();
    return true;
  }
  int error = errno;
  truncate_at(scratch.file, scratch.length);
  errno = error;
  return false;
}

void log_created(const ScratchFile& scratch, const FtnAddr& to) {
  if (log_passes(1)) log_line(1, "   %s created for %s\n", scratch.name.c_str(), addr_to_text(to).c_str());
}

// Adds lines to a list of attached or requested files.
bool append_lines(ScratchFile& scratch, const Msg& msg, std::string_view lines, const char* label) {
  std::string path = scratch.dir + scratch.name;
  if (!open_scratch(scratch)) {
    report_errno(path);
    report_logged("%s: error opening file: `%s'\n", label, path.c_str());
    return false;
  }
  std::string bytes;
  bool fresh = scratch.length == 0;
  if (fresh) {
    ByteWriter writer;
    scratch_address_fields(writer, msg.routeto);
    bytes = writer.bytes();
  }
  if (!append(scratch, bytes.append(lines))) {
    log_line(0, "%s: error writing target file `%s'\n", label, path.c_str());
    return false;
  }
  if (fresh) log_created(scratch, msg.routeto);
  current.lastname = path;
  return true;
}

// True for a line of the scanned outbound that is passed on: it names one file, blanks and all.
bool is_list_line(const Msg& msg) {
  return msg.has(int_dummyattach) && CurMsg.type == area_bink && CurMsg.pkt.is_list && CurMsg.msgno != 0 &&
         msg.subject == current.oldhdr.subject;
}

// The attached files of the subject; it keeps their bare names, as the other side has no use for our paths.
bool write_FIF(Msg& msg, ScratchFile& scratch) {
  const char* prefix = "";
  if ((msg.flags & flags_tfs) != 0) prefix = "#";
  if ((msg.flags & flags_kfs) != 0) prefix = "^";
  std::string lines;
  std::string bare;
  std::string_view rest = msg.subject;
  std::string_view word;
  bool whole = is_list_line(msg);
  while (whole ? !(word = std::exchange(rest, {})).empty() : next_word(rest, word)) {
    std::string line = prefix + std::string(word);
    log_line(1, "   FIF : %s\n", line.c_str());
    lines += line + "\r\n";
    if (!bare.empty()) bare += ' ';
    bare += file_part(word);
  }
  if (!append_lines(scratch, msg, lines, "write_FIF")) return false;
  msg.subject = bare;
  return true;
}

bool write_IR(const Msg& msg, ScratchFile& scratch) {
  std::string lines;
  std::string_view rest = msg.subject;
  std::string_view word;
  while (next_word(rest, word)) {
    log_line(1, "   IR : %s\n", std::string(word).c_str());
    lines.append(word).append("\r\n");
  }
  return append_lines(scratch, msg, lines, "write_IR");
}

bool write_packet(const Area& area, const Msg& msg, const FtnAddr& aka, const LineList& text,
                  ScratchFile& scratch) {
  std::string path = scratch.dir + scratch.name;
  if (!open_scratch(scratch)) {
    report_errno(path);
    report_logged("writeOIP: error opening pkt file: `%s'\n", path.c_str());
    return false;
  }
  std::string bytes;
  bool fresh = scratch.length == 0;
  if (fresh) bytes = pkt_header_bytes(make_pkt_header(area, aka, msg.routeto));
  put_packed(bytes, msg_to_packed(msg, msg.from), text);
  if (!append(scratch, bytes)) {
    if (fresh) write_stderr(format_text("\awriteOIP: error writing target file `%s'\n", path.c_str()));
    log_line(0, "writeOIP: error writing target file `%s'\n", path.c_str());
    return false;
  }
  if (fresh) log_created(scratch, msg.routeto);
  log_line(1, "   written to Bundle %s\n", area.tag.c_str());
  current.lastname = path;
  return true;
}

}  // namespace

std::string scratch_dir(const Area& area) {
  constexpr size_t width = 123;
  return outbound_dir(area).substr(0, width) + ".qlm";
}

bool writeOIP(const Area& area, const Msg& original, const LineList& text) {
  Msg msg = original;
  FtnAddr aka;
  match_aka(area.system, msg.routeto, aka);
  std::string dir = close_dir(scratch_dir(area));
  auto file_of = [&](Kind kind, char letter) { return get_oip_name(msg.routeto, aka, dir, kind, letter); };

  if ((msg.attr & attr_file) != 0 && !msg.has(int_ignoreattach)) {
    ScratchFile* attach = file_of(Kind::attach, flavor_letter(msg.flavor, OutFile::list));
    if (attach == nullptr || !write_FIF(msg, *attach)) return false;
  }
  if ((msg.attr & attr_request) != 0) {
    ScratchFile* request = file_of(Kind::request, 0);
    if (request == nullptr || !write_IR(msg, *request)) return false;
  }
  if (msg.has(int_dummyattach)) return true;
  ScratchFile* packet = file_of(Kind::packet, flavor_letter(msg.flavor, OutFile::packet));
  return packet != nullptr && write_packet(area, msg, aka, text, *packet);
}

void close_scratch_files() {
  for (auto& [key, scratch] : scratch_files) {
    if (!scratch.file) continue;
    std::string path = scratch.dir + scratch.name;
    // A file that was opened and couldn't be begun is of no use to anybody.
    if (scratch.length == 0) remove_file(path);
    if (!scratch.file.close()) log_line(0, "writeOIP: error writing target file `%s'\n", path.c_str());
  }
  open_files = 0;
}

void free_scratch_names() {
  close_scratch_files();
  scratch_files.clear();
  scratch_dirs.clear();
}

}  // namespace quelmo
