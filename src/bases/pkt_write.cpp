#include "bases/pkt_write.h"

#include <algorithm>
#include <cerrno>
#include <unordered_map>

#include "bases/pkt_records.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/path.h"
#include "select/compare.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

// A packet of this scan that messages go to. The file stays open, but is looked at by its name ahead of each
// message: a tosser may have taken it away.
struct PktName {
  std::string path;
  uint32_t length = 0;  // bytes written, counted only where a limit applies
  Fd file;
  FileInfo info;  // as it was behind our last write
};

std::unordered_map<std::string, PktName> pkt_names;  // by directory and addresses
size_t open_packets = 0;
constexpr size_t most_open = 200;

constexpr uint64_t least_packet = pkt_header_size + pkt_end.size();

std::string name_key(std::string_view dir, const FtnAddr& to, const FtnAddr& from) {
  std::string key(dir);
  for (const FtnAddr* addr : {&to, &from}) {
    for (uint16_t number : {addr->zone, addr->net, addr->node, addr->point}) {
      key += static_cast<char>(number >> 8);
      key += static_cast<char>(number & 0xFF);
    }
  }
  return key;
}

std::string_view box_flavor(uint16_t flavor) {
  if ((flavor & flavor_imm) != 0) return "Immediate";
  if ((flavor & flavor_crash) != 0) return "Crash";
  if ((flavor & flavor_dir) != 0) return "Direct";
  return (flavor & flavor_hold) != 0 ? "Hold" : "Normal";
}

// The directory for packets to `to`, with its closing separator.
std::string target_dir(const Area& area, const FtnAddr& to, uint16_t flavor) {
  std::string box = box_dir_name(area, to, flavor);
  if (box.empty()) return area.path.str();
  std::string dir = area.path.str() + box;
  return is_separator(dir.back()) ? dir : dir + own_separator(dir);
}

uint32_t packed_length(const PackedMsg& msg, const LineList& text) {
  size_t texts = msg.toname.size() + msg.fromname.size() + msg.subject.size() + text.length();
  return static_cast<uint32_t>(pkt_msg_header_size + texts + 4);
}

void give_new_name(PktName& packet, std::string_view dir) {
  if (packet.file) open_packets--;
  packet.file.reset();
  packet.path = new_pkt_name(dir);
}

// The packet for a message: the one of the cache, or a new one if there is none or it is full. Null without a
// name to be had.
PktName* get_pkt_name(const Area& area, std::string_view dir, const FtnAddr& to, const FtnAddr& from,
                      const PackedMsg& msg, const LineList& text) {
  uint32_t limit = get_maxpktsz(area, to);
  uint32_t length = limit != 0 ? packed_length(msg, text) : 0;
  if (log_passes(4)) {
    log_line(4, "get_pkt_name: max length for %s = %lu\n", addr_to_text(to).c_str(),
             static_cast<unsigned long>(limit));
  }
  auto [entry, fresh] = pkt_names.try_emplace(name_key(dir, to, from));
  PktName& packet = entry->second;
  if (!fresh && !packet.path.empty()) {
    log_line(4, "get_pkt_name: curmsg len = %lu, curpkt len = %lu, maxlen = %lu\n",
             static_cast<unsigned long>(length), static_cast<unsigned long>(packet.length),
             static_cast<unsigned long>(limit));
    if (limit == 0 || uint64_t{length} + packet.length <= limit) {
      packet.length += length;
      log_line(4, "get_pkt_name: get name from cache, `%s'\n", std::string(file_part(packet.path)).c_str());
      return &packet;
    }
  }
  give_new_name(packet, dir);
  if (packet.path.empty()) {
    log_line(4, "get_pkt_name: fail to get a new name\n");
    return nullptr;
  }
  packet.length = limit != 0 ? length + static_cast<uint32_t>(pkt_header_size) : 0;
  std::string name(file_part(packet.path));
  if (fresh) {
    log_line(4, "get_pkt_name: add new name to cache, `%s', len=%lu\n", name.c_str(),
             static_cast<unsigned long>(packet.length));
  } else {
    log_line(4, "get_pkt_name: file too long, assign new name `%s'\n", name.c_str());
  }
  return &packet;
}

enum class Opened { ok, held, failed };

Opened open_packet(PktName& packet) {
  if (packet.file) open_packets--;
  packet.file.reset();
  if (open_packets >= most_open) {
    for (auto& [key, other] : pkt_names) other.file.reset();
    open_packets = 0;
  }
  packet.file = open_file(packet.path, Open::create, 0600);
  std::optional<FileInfo> info;
  if (packet.file) info = file_info(packet.file);
  if (info) {
    packet.info = *info;
    open_packets++;
    return Opened::ok;
  }
  if (errno == EACCES || errno == EPERM) {
    log_line(0, "pkt file locked by another process: `%s'\n", packet.path.c_str());
    return Opened::held;
  }
  report_errno(packet.path);
  log_line(0, "write_pkt_msg: error opening pkt file : `%s'\n", packet.path.c_str());
  return Opened::failed;
}

// True if the packet is empty, or ends as packets do.
bool has_end(const PktName& packet) {
  if (packet.info.size == 0) return true;
  if (packet.info.size < least_packet) return false;
  char end[pkt_end.size()];
  return read_at(packet.file, end, sizeof end, packet.info.size - sizeof end) == sizeof end &&
         std::string_view(end, sizeof end) == pkt_end;
}

// Makes sure that the file open as `packet` is the one of its name, and that a message can be put behind its
// last one.
Opened ready_packet(PktName& packet) {
  std::optional<FileInfo> info;
  if (packet.file) info = file_info(packet.path);
  if (info && same_file(*info, packet.info) && info->size == packet.info.size) return Opened::ok;
  Opened opened = open_packet(packet);
  if (opened != Opened::ok || has_end(packet)) return opened;
  log_line(0, "write_pkt_msg: seek error in `%s'\n", packet.path.c_str());
  return Opened::held;
}

bool append_message(PktName& packet, const PktHeader& header, const PackedMsg& msg, const LineList& text) {
  uint64_t size = packet.info.size;
  std::string bytes;
  if (size == 0) bytes = pkt_header_bytes(header);
  put_packed(bytes, msg, text);
  bytes += pkt_end;
  uint64_t at = size == 0 ? 0 : size - pkt_end.size();
  if (write_at(packet.file, bytes, at)) {
    packet.info.size = at + bytes.size();
    return true;
  }
  report_errno(packet.path);
  log_line(0, "write_pkt_msg: error writing pktfile (msg) `%s'\n", packet.path.c_str());
  // Room for the old end there is: it stood here.
  if (size == 0 || !write_at(packet.file, pkt_end, at) || !truncate_at(packet.file, size)) {
    truncate_at(packet.file, size);
    if (size == 0) remove_file(packet.path);
    packet.path.clear();
  }
  return false;
}

}  // namespace

bool write_pkt_msg(const Area& area, const PktHeader& header, const PackedMsg& msg, const LineList& text,
                   uint16_t flavor) {
  FtnAddr to = pkt_to(header);
  std::string dir = target_dir(area, to, flavor);
  PackedMsg written = msg;
  if ((msg.header.attr & attr_file) != 0) {
    std::string subject = msg.subject.str();
    written.subject = std::string_view(subject).substr(last_separator(subject) + 1);
  }
  PktName* packet = get_pkt_name(area, dir, to, pkt_from(header), written, text);
  if (packet == nullptr) return false;
  if (!packet->file && dir.size() != area.path.size()) fix_path(dir);
  Opened opened = ready_packet(*packet);
  if (opened == Opened::held) {
    give_new_name(*packet, dir);
    opened = packet->path.empty() ? Opened::failed : ready_packet(*packet);
  }
  if (opened != Opened::ok || !append_message(*packet, header, written, text)) return false;
  current.lastname = packet->path;
  return true;
}

void forget_pkt_names() {
  pkt_names.clear();
  open_packets = 0;
}

std::string new_pkt_name(std::string_view dir) {
  constexpr int tries = 100;
  for (int i = 0; i < tries; i++) {
    std::string path = std::string(dir) + format_text("%08x.pkt", unique_stamp());
    if (!file_exists(path)) return path;
  }
  log_line(4, "get_pkt_name: fail to get a new name\n");
  return {};
}

uint32_t get_maxpktsz(const Area& area, const FtnAddr& to) {
  log_line(5, "get_maxpktsz: got pktlentag: `%s'\n", area.pkt_length.c_str());
  if (area.pkt_length.empty()) return 0;
  const Block<LengthEntry>* block = find_block(blocks.pktlength, area.pkt_length);
  if (block == nullptr) return 0;
  for (const LengthEntry& entry : block->entries) {
    if (comp_aadrs(to, entry.address)) return static_cast<uint32_t>(std::max(entry.length, 0));
  }
  return 0;
}

std::string box_dir_name(const Area& area, const FtnAddr& to, uint16_t flavor) {
  if (!run.fbox_path.empty()) return run.fbox_path;
  if (area.box_kind == box_none) return {};
  std::string numbers = format_text("%u.%u.%u.%u", to.zone, to.net, to.node, to.point);
  if (area.box_kind == box_t) return (flavor & flavor_hold) != 0 ? numbers + ".H" : numbers;
  FtnAddr aka;
  match_aka(area.system, to, aka);
  return aka.domain.str() + "." + numbers + "." + std::string(box_flavor(flavor));
}

}  // namespace quelmo
