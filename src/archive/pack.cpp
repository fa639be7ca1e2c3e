#include "archive/pack.h"

#include <algorithm>
#include <optional>
#include <string>

#include "archive/arc_cache.h"
#include "archive/archiver.h"
#include "bases/flow.h"
#include "bases/outbound_names.h"
#include "bases/pkt_records.h"
#include "bases/pkt_write.h"
#include "config/areas.h"
#include "core/console.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/attributes.h"
#include "message/macros.h"
#include "outbound/build.h"
#include "platform/directory.h"
#include "platform/files.h"
#include "platform/path.h"
#include "select/compare.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

// What a call asks for.
struct PackJob {
  const Area* pkt_area = nullptr;
  const Area* out_area = nullptr;
  const Block<AddressPackerEntry>* block = nullptr;
  bool nomove = false;

  bool to_box() const { return out_area->type == area_pkt; }
};

// A packet on its way.
struct PackedPacket {
  std::string path;
  FtnAddr to;
  const Packer* packer = nullptr;  // null: attached as it is
  uint32_t maxlen = 0;
  std::string attrs;
};

PackJob job_of(const ScriptCall& call) {
  PackJob job;
  std::string pkt_tag = expanded_arg(call, 0);
  std::string out_tag = expanded_arg(call, 1);
  std::string third = expanded_arg(call, 2);
  std::string last = expanded_arg(call, call.count() - 1);
  job.pkt_area = find_area(area_pkt, pkt_tag);
  if (job.pkt_area == nullptr) stop_run("%s PKT area undefined: `%s'\n", call.label(), pkt_tag.c_str());
  job.out_area = find_area(area_bink, out_tag);
  if (job.out_area == nullptr) {
    log_line(4, "packpkt: binkarea not found, try pkt fbox\n");
    job.out_area = find_area(area_pkt, out_tag);
    if (job.out_area == nullptr) stop_run("%s area not found: `%s'\n", call.label(), out_tag.c_str());
    if (job.out_area->box_kind == box_none)
      stop_run("%s PKT area is not a filebox: `%s'\n", call.label(), out_tag.c_str());
  }
  if (call.count() > 2) job.block = find_block(blocks.addresspacker, third);
  if (call.count() > 3 && job.block == nullptr)
    stop_run("%s no such Data AddressPacker block: `%s'\n", call.label(), third.c_str());
  job.nomove = call.count() > 2 && equal_nocase(last, "nomove");
  return job;
}

// The addressee of a packet, from its header.
bool get_pkt_to(const std::string& path, FtnAddr& to) {
  Fd file = open_file(path, Open::read);
  char bytes[pkt_header_size];
  PktHeader header;
  if (!file) {
    log_line(3, "get_pkt_to: error opening  file: `%s'\n", path.c_str());
  } else if (read_at(file, bytes, sizeof bytes, 0) != static_cast<ssize_t>(sizeof bytes)) {
    log_line(3, "get_pkt_to: error reading pkt file: `%s'\n", path.c_str());
  } else {
    read_pkt_header_bytes(std::string_view(bytes, sizeof bytes), header);
    to = pkt_to(header);
    // Another type has its addresses elsewhere, and would go to a system that doesn't exist.
    if (header.packetType == pkt_type_2) return true;
    log_line(3, "get_pkt_to: `%s' is no type 2 pkt file\n", path.c_str());
  }
  log_line(0, "PackPkt: error reading pkt header, file `%s'\n", path.c_str());
  return false;
}

// By how much a packer makes packets smaller, in tenths.
int32_t ratio_of(const Packer& packer) {
  constexpr int32_t usual_ratio = 32;
  return packer.ratio != 0 ? packer.ratio : usual_ratio;
}

// What the block says of a packet's addressee: the first line that fits. The packer `-` means none.
void read_aptag(const Block<AddressPackerEntry>& block, PackedPacket& packet) {
  for (const AddressPackerEntry& entry : block.entries) {
    if (!comp_aadrs(packet.to, entry.address)) continue;
    packet.attrs = entry.attrs;
    packet.maxlen = static_cast<uint32_t>(entry.maxlen);
    log_line(4, "read_aptag: arcname: `%s' flags: `%s' maxlen=%lu\n", entry.packer.c_str(),
             entry.attrs.c_str(), static_cast<unsigned long>(packet.maxlen));
    if (entry.packer.view() == "-") return;
    packet.packer = find_packer(entry.packer);
    if (packet.packer == nullptr)
      stop_run("read_compress_block error: packer undefined : `%s'\n", entry.packer.c_str());
    if (log_passes(4)) {
      log_line(4, "read_compress_block: got ratio:%ld, addstr:`%s'\n",
               static_cast<long>(ratio_of(*packet.packer)), command_line(packet.packer->add).c_str());
    }
    return;
  }
}

// The flavour that the words of a block line ask for: the first of them that names one.
uint16_t flavor_of(std::string_view words) {
  std::string_view word;
  while (next_word(words, word)) {
    if (attr_by_name(word) == attr_hold) return flavor_hold;
    if (flag_by_name(word) == flags_imm) return flavor_imm;
    if (attr_by_name(word) == attr_crash) return flavor_crash;
    if (flag_by_name(word) == flags_dir) return flavor_dir;
  }
  return flavor_normal;
}

// What stands ahead of a line of a flow file: the words of the block line change the default.
const char* flow_prefix(std::string_view words, uint16_t flags) {
  std::string_view word;
  while (next_word(words, word)) {
    bool clear = word.starts_with('!');
    uint16_t bit = flag_by_name(clear ? word.substr(1) : word);
    if (bit == unknown_bit16) continue;
    flags = static_cast<uint16_t>(clear ? flags & ~bit : flags | bit);
  }
  if ((flags & flags_kfs) != 0) return "^";
  return (flags & flags_tfs) != 0 ? "#" : "";
}

// A path as a mailer can use it: absolute and in the spelling of the disk, with the separators of the area's
// path. One with a drive letter is for a mailer that knows drives, and stays as it is.
std::string flow_path(const std::string& path) {
  if (path.size() > 1 && path[1] == ':') return path;
  std::string absolute = disk_path(path);
  if (own_separator(path) == '\\') std::replace(absolute.begin(), absolute.end(), '/', '\\');
  return absolute;
}

bool stands_in_flow(const std::string& flow, std::string_view path) {
  std::optional<std::string> bytes = read_file(flow);
  for (size_t at = 0; bytes && at < bytes->size();) {
    if (equal_nocase(take_flow_line(*bytes, at).file, path)) return true;
  }
  return false;
}

enum class Attach { added, stands, failed };

// Attaches a path, unless that was done before: what stands twice is sent twice.
Attach pupdate_FLO(const std::string& flow, const char* prefix, const std::string& path) {
  if (stands_in_flow(flow, path)) {
    log_line(4, "pupdate_FLO: entry already exists: `%s'\n", path.c_str());
    return Attach::stands;
  }
  if (append_to_list(flow, prefix + path + "\r\n") == Appended::done) return Attach::added;
  log_line(0, "pupdate_FLO: error opening `%s'\n", flow.c_str());
  return Attach::failed;
}

void attach_plain(const PackedPacket& packet, const std::string& flow) {
  Attach attach = pupdate_FLO(flow, flow_prefix(packet.attrs, flags_kfs), flow_path(packet.path));
  if (attach != Attach::added) return;
  std::string shown = addr_to_text(packet.to);
  log_line(1, "   Created pkt attach for %s\n", shown.c_str());
  print_progress("   Created pkt attach for %s\n", shown.c_str());
}

// Has the packer put the packet into the bundle; the packet goes when it is in.
void add_to_bundle(const PackedPacket& packet, const std::string& bundle) {
  const PackerCommand& command = packet.packer->add;
  std::vector<std::string> arguments = fill_command(command, {.archive = disk_path(bundle),
                                                              .files = disk_path(packet.path),
                                                              .directory = disk_path(dir_part(bundle))});
  if (log_passes(4)) {
    log_line(4, "PackPkt: executing: `%s %s'\n", command.program.c_str(), shown_words(arguments).c_str());
  }
  int code = shell_exec(command.program, arguments);
  if (code != 0) {
    log_line(0, "PackPkt: adding to archive: %s - error: packer reported %d\n", bundle.c_str(), code);
    return;
  }
  std::optional<FileInfo> made = file_info(bundle);
  if (!made || made->size == 0) {
    log_line(0, "PackPkt: adding to archive: %s - error: packer has left no archive\n", bundle.c_str());
    return;
  }
  log_line(2, "PackPkt: adding to archive: %s - ok\n", bundle.c_str());
  if (!remove_file(packet.path)) report_errno(packet.path);
}

// Puts a packet into a bundle of `dir`, which `flow` attaches; in a file box `flow` is empty.
void bundle_packet(const PackedPacket& packet, const std::string& dir, const std::string& flow) {
  Bundle bundle = get_arcname({.to = packet.to,
                               .dir = dir,
                               .flow_dir = flow_path(dir),
                               .flow = flow,
                               .pkt = packet.path,
                               .packer = packet.packer->name,
                               .maxlen = packet.maxlen,
                               .ratio = ratio_of(*packet.packer)});
  if (bundle.name.empty()) {
    log_line(0, "PackPkt error: extention list full, skipping `%s'\n", packet.path.c_str());
    return;
  }
  if (!flow.empty() && !bundle.attached) {
    std::string shown = addr_to_text(packet.to);
    log_line(1, "   Create arcmail attach for %s\n", shown.c_str());
    print_progress("   Create arcmail attach for %s\n", shown.c_str());
    // A line may stand from an earlier failure of the packer. A bundle that can't be attached would take its
    // packets where no mailer looks.
    Attach attach = pupdate_FLO(flow, flow_prefix(packet.attrs, flags_tfs), flow_path(dir) + bundle.name);
    if (attach == Attach::failed) return;
  }
  add_to_bundle(packet, dir + bundle.name);
}

void pack_to_outbound(const PackJob& job, const PackedPacket& packet) {
  const Area& area = *job.out_area;
  make_outbound_dirs(area, packet.to);
  HeldFlag busy;
  if (!busy.take(outbound_name(area, packet.to, OutFile::flag))) {
    log_line(1, "Skipping busy system: %s\n", addr_to_text(packet.to).c_str());
    return;
  }
  char letter = flavor_letter(flavor_of(packet.attrs), OutFile::list);
  std::string flow = outbound_name(area, packet.to, OutFile::list, letter);
  if (packet.packer == nullptr) return attach_plain(packet, flow);
  bundle_packet(packet, job.nomove ? job.pkt_area->path.str() : std::string(dir_part(flow)), flow);
}

void pack_to_box(const PackJob& job, const PackedPacket& packet) {
  if (packet.packer == nullptr) return;
  std::string dir = job.out_area->path.str();
  std::string box = box_dir_name(*job.out_area, packet.to, flavor_of(packet.attrs));
  if (!box.empty()) {
    dir += box;
    fix_path(dir);
    dir = close_dir(dir);
  }
  bundle_packet(packet, dir, std::string());
}

}  // namespace

void perl_PackPKT(ScriptCall& call) {
  PackJob job = job_of(call);
  const std::string dir = job.pkt_area->path.str();
  for (const FoundFile& found : find_files(dir + "*.pkt")) {
    check_signals();
    if (!found.is_plain) continue;
    PackedPacket packet;
    packet.path = dir + found.name;
    if (!get_pkt_to(packet.path, packet.to)) continue;
    if (job.block != nullptr) read_aptag(*job.block, packet);
    if (job.to_box()) {
      pack_to_box(job, packet);
    } else {
      pack_to_outbound(job, packet);
    }
  }
  // A later packet of the same name would take the place of the one in the bundle.
  forget_pkt_names();
}

}  // namespace quelmo
