#include "outbound/build.h"

#include <algorithm>
#include <optional>
#include <string>

#include "bases/outbound_names.h"
#include "bases/packet_file.h"
#include "bases/pkt_records.h"
#include "core/byte_order.h"
#include "core/console.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/macros.h"
#include "outbound/scratch.h"
#include "platform/directory.h"
#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {
namespace {

// The files of the scratch directory whose extension is a letter of `letters` and then `rest`; no letter if
// there are none to choose from.
std::vector<std::string> scratch_names(const std::string& dir, std::string_view letters,
                                       std::string_view rest) {
  std::vector<std::string> paths;
  for (const FoundFile& found : find_files(dir + "*.*")) {
    std::string_view extension = found.name;
    extension.remove_prefix(std::min(extension.find('.'), extension.size() - 1) + 1);
    if (!letters.empty()) {
      if (extension.empty() || letters.find(lower_byte(extension[0])) == std::string_view::npos) continue;
      extension.remove_prefix(1);
    }
    if (equal_nocase(extension, rest)) paths.push_back(dir + found.name);
  }
  return paths;
}

char letter_of(std::string_view path) {
  std::string_view name = file_part(path);
  return lower_byte(name[name.find('.') + 1]);
}

// Reads the header of a packet in the making.
bool do_read_pkt(const std::string& path, PktHeader& header) {
  Fd file = open_file(path, Open::read);
  if (!file) {
    log_line(0, "do_read_pkt: error opening *.?IP file: `%s'\n", path.c_str());
    return false;
  }
  char bytes[pkt_header_size];
  if (read_at(file, bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
    log_line(0, "do_read_pkt: error reading *.?IP file: `%s'\n", path.c_str());
    return false;
  }
  read_pkt_header_bytes(std::string_view(bytes, sizeof bytes), header);
  if (header.packetType == pkt_type_2) return true;
  log_line(0, "do_read_pkt: error: `%s' is no type 2 pkt file\n", path.c_str());
  return false;
}

// Where the messages of a packet end, 0 with the reason logged if it can take no more.
uint64_t end_of_packet(const Fd& file, const std::string& path) {
  char bytes[pkt_header_size];
  int64_t length = file_length(file);
  bool whole = length >= static_cast<int64_t>(pkt_header_size + pkt_end.size());
  if (!whole || read_at(file, bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
    log_line(0, "dobinkout: error reading *.OUT file: `%s'\n", path.c_str());
    return 0;
  }
  PktHeader header;
  read_pkt_header_bytes(std::string_view(bytes, sizeof bytes), header);
  if (header.packetType != pkt_type_2) {
    log_line(0, "dobinkout: error: `%s' is no type 2 pkt file\n", path.c_str());
    return 0;
  }
  uint64_t end = static_cast<uint64_t>(length) - pkt_end.size();
  if (read_at(file, bytes, pkt_end.size(), end) != static_cast<ssize_t>(pkt_end.size())) {
    log_line(0, "dobinkout: error reading *.OUT file: `%s'\n", path.c_str());
    return 0;
  }
  if (std::string_view(bytes, pkt_end.size()) == pkt_end) return end;
  log_line(0, "dobinkout: error in `%s':  packet grunged\n", path.c_str());
  return 0;
}

// Gives a damaged packet a name that ends in "bad".
void set_grunged_aside(const std::string& path) {
  std::string bad = path.substr(0, path.size() - 3) + "bad";
  log_line(0, "dobinkout: pkt file `%s' grunged, renaming to `%s'\n", path.c_str(), bad.c_str());
  if (!set_aside(path, bad))
    log_line(0, "dobinkout: error renaming grunged pkt file `%s' to `%s'\n", path.c_str(), bad.c_str());
}

// Opens a packet for more mail: `end` is where that goes, 0 in a new one. An existing one that can't be added
// to is set aside, or stays in the way.
Fd open_packet(const std::string& path, uint64_t& end) {
  end = 0;
  if (file_exists(path)) {
    Fd file = open_file(path, Open::update);
    if (!file) log_line(0, "dobinkout: error opening *.OUT file: `%s'\n", path.c_str());
    if (file) end = end_of_packet(file, path);
    if (end != 0) return file;
    set_grunged_aside(path);
  }
  Fd file = open_file(path, Open::create_new, 0600);
  if (file) return file;
  report_errno(path);
  log_line(0, "dobinkout: can`t create new *.OUT file: `%s'\n", path.c_str());
  return Fd();
}

// Copies the file `from`, from `position` on, to `at` of another, and ends it as a packet.
bool append_packet(const Fd& from, uint64_t position, const Fd& to, uint64_t at) {
  constexpr size_t piece = 1 << 16;
  std::string buffer(piece, '\0');
  ssize_t got = 0;
  while ((got = read_at(from, buffer.data(), buffer.size(), position)) > 0) {
    auto size = static_cast<size_t>(got);
    if (!write_at(to, std::string_view(buffer).substr(0, size), at)) return false;
    position += size;
    at += size;
  }
  return got == 0 && write_at(to, pkt_end, at);
}

// Makes a packet what it was before mail was added at `end`.
void restore_packet(const std::string& path, uint64_t end) {
  if (end == 0) {
    remove_file(path);
  } else if (Fd file = open_file(path, Open::update)) {
    write_at(file, pkt_end, end);
    truncate_at(file, end + pkt_end.size());
  }
}

// Adds the packet in the making `ip` to the packet `out`, and removes it.
bool dobinkout(const std::string& ip, const std::string& out) {
  Fd from = open_file(ip, Open::read);
  if (!from) {
    log_line(0, "dobinkout: error opening *.?IP file: `%s'\n", ip.c_str());
    return false;
  }
  uint64_t end = 0;
  Fd to = open_packet(out, end);
  if (!to) return false;
  if (!append_packet(from, end == 0 ? 0 : pkt_header_size, to, end) || !to.close()) {
    log_line(0, "dobinkout: error writing *.OUT file: `%s'\n", out.c_str());
    restore_packet(out, end);
    return false;
  }
  if (!remove_file(ip)) log_line(0, "dobinkout: error deleting *.?IP file: `%s'\n", ip.c_str());
  run.msgs_written++;
  return true;
}

void build_packet(const Area& area, const std::string& path) {
  log_line(1, "Outbound handling: %s\n", path.c_str());
  PktHeader header;
  if (!do_read_pkt(path, header)) return;
  FtnAddr to = pkt_to(header);
  std::string shown = addr_to_text(to);
  make_outbound_dirs(area, to);
  HeldFlag busy;
  if (!busy.take(outbound_name(area, to, OutFile::flag))) {
    log_line(1, "Skipping busy system: %s\n", shown.c_str());
    return;
  }
  std::string out = outbound_name(area, to, OutFile::packet, letter_of(path));
  if (dobinkout(path, out)) {
    log_line(1, " Packet from %s to %s  added to %s\n", addr_to_text(pkt_from(header)).c_str(), shown.c_str(),
             out.c_str());
    print_progress(".");
  }
  run.msgs_read++;
}

// A list in the scratch directory: whom it is for, and its lines.
struct AttachInfo {
  FtnAddr to;
  std::string spec;
};

std::optional<AttachInfo> get_attach_info(const std::string& path) {
  Fd file = open_file(path, Open::read);
  if (!file) {
    log_line(0, "get_attach_info: error opening *.?IF file: `%s'\n", path.c_str());
    return std::nullopt;
  }
  int64_t length = file_length(file);
  std::string bytes(length < 0 ? 0 : static_cast<size_t>(length), '\0');
  ssize_t got = read_at(file, bytes.data(), bytes.size(), 0);
  if (got < static_cast<ssize_t>(scratch_address_size)) {
    log_line(0, "get_attach_info: error reading *.?IF file: `%s'\n", path.c_str());
    return std::nullopt;
  }
  if (got != length) {
    log_line(0, "get_attach_info: error reading (fspec) *.FIF file: `%s'\n", path.c_str());
    return std::nullopt;
  }
  AttachInfo info;
  ByteReader reader(bytes);
  scratch_address_fields(reader, info.to);
  bytes.erase(0, scratch_address_size);
  info.spec = bytes.substr(0, bytes.find('\0'));
  return info;
}

void show_progress(OutFile what, std::string_view spec) {
  if (what == OutFile::list) {
    bool prefixed = spec.starts_with('#') || spec.starts_with('^');
    print_progress("%c", prefixed ? spec[0] : 'A');
    return;
  }
  for (char c : spec) {
    if (c == '\n') print_progress("R");
  }
}

bool dobinkFLO(const std::string& spec, const std::string& path) {
  Appended result = append_to_list(path, spec);
  if (result == Appended::not_opened)
    log_line(0, "dobinkFLO: error opening *.?LO file: `%s'\n", path.c_str());
  if (result == Appended::not_written)
    log_line(0, "dobinkFLO: error writing *.?LO file: `%s'\n", path.c_str());
  return result == Appended::done;
}

void build_list(const Area& area, const std::string& path, OutFile what) {
  log_line(1, "Outbound handling %s\n", path.c_str());
  std::optional<AttachInfo> info = get_attach_info(path);
  if (!info) return;
  std::string shown = addr_to_text(info->to);
  make_outbound_dirs(area, info->to);
  HeldFlag busy;
  if (!busy.take(outbound_name(area, info->to, OutFile::flag))) {
    log_line(1, "skipping busy system: %s\n", shown.c_str());
    return;
  }
  std::string list = outbound_name(area, info->to, what, what == OutFile::list ? letter_of(path) : 'f');
  bool attach = what == OutFile::list;
  if (dobinkFLO(info->spec, list)) {
    if (attach) {
      log_line(1, " attach to : %s,   added to: %s\n", shown.c_str(), list.c_str());
    } else {
      log_line(1, " FREQ to : %s,   added to: %s\n", shown.c_str(), list.c_str());
    }
    show_progress(what, info->spec);
    run.msgs_written++;
    if (!remove_file(path)) {
      if (attach) {
        log_line(0, "dobinkout: error deleting *.?IF file: `%s'\n", path.c_str());
      } else {
        log_line(0, "dobinkout: error deleting *.IR file: `%s'\n", path.c_str());
      }
    }
  }
  run.msgs_read++;
}

const Area& bink_area(const char* label, const std::string& tag) {
  const Area* area = find_area(area_bink, tag);
  if (area == nullptr) stop_run("%s binkarea undefined: `%s'\n", label, tag.c_str());
  return *area;
}

void build(ScriptCall& call, const char* said) {
  log_line(1, "Making %s\n", said);
  print_progress("\nMaking %s\n", said);
  do_outbound(bink_area(call.label(), expanded_arg(call, 0)));
  print_progress("\n");
}

}  // namespace

Appended append_to_list(std::string_view path, std::string_view lines) {
  Fd file = open_file(path, Open::create_new, 0600);
  bool fresh = static_cast<bool>(file);
  if (!fresh) file = open_file(path, Open::update);
  int64_t length = file ? file_length(file) : -1;
  if (length < 0) return Appended::not_opened;
  auto end = static_cast<uint64_t>(length);
  char last = '\n';
  if (end > 0 && read_at(file, &last, 1, end - 1) != 1) return Appended::not_opened;
  std::string bytes = last == '\n' || last == '\r' ? "" : "\r\n";
  if (write_at(file, bytes.append(lines), end)) return file.close() ? Appended::done : Appended::not_written;
  truncate_at(file, end);
  if (fresh) remove_file(path);  // an empty list makes mailers call
  return Appended::not_written;
}

void do_outbound(const Area& area) {
  close_scratch_files();
  std::string dir = close_dir(scratch_dir(area));
  for (const std::string& path : scratch_names(dir, "ohicd", "ip")) {
    check_signals();
    build_packet(area, path);
  }
  for (const std::string& path : scratch_names(dir, "fhicd", "if")) {
    check_signals();
    build_list(area, path, OutFile::list);
  }
  for (const std::string& path : scratch_names(dir, "", "ir")) {
    check_signals();
    build_list(area, path, OutFile::request);
  }
}

void perl_DoBinkOutbound(ScriptCall& call) {
  build(call, "Binkley Outbound");
}

void perl_DoBrakeOutbound(ScriptCall& call) {
  build(call, "BrakeOutbound");
}

void perl_DoAmiga4DOutbound(ScriptCall& call) {
  build(call, "Amiga4DOutbound");
}

void perl_isBusy(ScriptCall& call) {
  std::string tag = expanded_arg(call, 0);
  std::string text = expanded_arg(call, 1);
  FtnAddr addr;
  if (addr_parse(text, addr) == 0) stop_run("%s incorrect address : `%s'\n", call.label(), text.c_str());
  std::string flag = outbound_name(bink_area(call.label(), tag), addr, OutFile::flag);
  bool busy = file_exists(flag);
  if (busy) {
    log_line(4, "isBusy: busy flag `%s' found, system busy\n", flag.c_str());
  } else {
    log_line(4, "isBusy: busy flag `%s' NOT found, system free\n", flag.c_str());
  }
  call.give_number(busy ? 1 : 0);
}

}  // namespace quelmo
