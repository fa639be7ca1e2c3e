// The making of a version 9 index, and its bytes.
#include <algorithm>
#include <ctime>
#include <optional>

#include "core/byte_order.h"
#include "core/console.h"
#include "core/crc32.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "nodelist/list_lines.h"
#include "nodelist/v9_index.h"
#include "platform/files.h"

namespace quelmo {
namespace {

// On disk: never change.
constexpr uint16_t v9_version = 1;
constexpr uint32_t v9_magic = 0xB9060796;
constexpr size_t header_size = 68;
constexpr size_t net_size = 12;
constexpr size_t node_size = 4;

constexpr uint16_t no_default = 0xFFFF;

struct V9Header {
  uint16_t version = v9_version;
  uint32_t magic = v9_magic;
  uint32_t net_count = 0;
  uint32_t node_count = 0;
  uint16_t max_hubs = 0;
  uint32_t created = 0;
};

template <class Io, class Header>
void header_fields(Io& io, Header& h) {
  io.u16(h.version);
  io.skip(2);
  io.u32(h.magic);
  io.u32(h.net_count);
  io.u32(h.node_count);
  io.u16(h.max_hubs);
  io.skip(2);
  io.u32(h.created);
  io.skip(44);
}

template <class Io, class Net>
void net_fields(Io& io, Net& n) {
  io.u16(n.net);
  io.u16(n.zone);
  io.u16(n.region);
  io.u16(n.node_count);
  io.u32(n.first);
}

template <class Io, class Node>
void node_fields(Io& io, Node& n) {
  io.u16(n.node);
  io.u8(n.hub);
  io.skip(1);
}

// The tables being built, and where in the lists they stand.
struct Compile {
  V9Index index;
  std::vector<V9Node> hubs;  // of the net being read
  uint16_t zone = 0;
  uint16_t region = 0;
  uint8_t current_hub = 0;
};

void close_net(Compile& compile) {
  V9Index& index = compile.index;
  if (index.nets.empty()) return;
  V9Net& net = index.nets.back();
  std::stable_sort(index.nodes.begin() + net.first, index.nodes.end(),
                   [](const V9Node& a, const V9Node& b) { return a.node < b.node; });
  net.node_count = static_cast<uint16_t>(index.nodes.size() - net.first);
  index.nodes.insert(index.nodes.end(), compile.hubs.begin(), compile.hubs.end());
  compile.hubs.clear();
  compile.current_hub = 0;
}

void add_node(Compile& compile, uint16_t number) {
  V9Index& index = compile.index;
  // A net that is full to the width of its counter takes no more.
  if (index.nodes.size() - index.nets.back().first >= UINT16_MAX) return;
  index.nodes.push_back({.node = number, .hub = compile.current_hub});
}

void open_net(Compile& compile, uint16_t number) {
  close_net(compile);
  compile.index.nets.push_back({.net = number,
                                .zone = compile.zone,
                                .region = compile.region,
                                .first = static_cast<uint32_t>(compile.index.nodes.size())});
  add_node(compile, 0);
}

void add_hub(Compile& compile, uint16_t number) {
  constexpr size_t most_hubs = 255;
  if (compile.hubs.size() < most_hubs) {
    compile.current_hub = static_cast<uint8_t>(compile.hubs.size() + 1);
    compile.hubs.push_back({.node = number, .hub = compile.current_hub});
    compile.index.max_hubs = std::max(compile.index.max_hubs, static_cast<uint16_t>(compile.hubs.size()));
  } else {
    compile.current_hub = 0;
  }
  add_node(compile, number);
}

void open_region(Compile& compile, uint16_t number) {
  compile.region = number;
  open_net(compile, number);
}

void open_zone(Compile& compile, uint16_t number) {
  compile.zone = number;
  compile.region = number;
  print_progress("Zone %-5u Region %-5u\r", compile.zone, compile.region);
  open_net(compile, number);
}

// What a line does, by the text that it begins with; a number follows.
constexpr struct {
  std::string_view keyword;
  void (*take)(Compile& compile, uint16_t number);
  bool opens_net = false;
} actions[] = {
    {",", add_node},
    {"Hub,", add_hub},
    {"Hold,", add_node},
    {"Down,", add_node},
    {"Pvt,", add_node},
    {"Host,", open_net, true},
    {"Region,", open_region, true},
    {"Zone,", open_zone, true},
};

void take_line(Compile& compile, std::string_view line) {
  for (const auto& action : actions) {
    if (!line.starts_with(action.keyword)) continue;
    line.remove_prefix(action.keyword.size());
    if (line.empty() || line[0] < '0' || line[0] > '9') return;
    // A node ahead of any net belongs nowhere.
    if (!action.opens_net && compile.index.nets.empty()) return;
    long number = to_number(line);
    if (number <= UINT16_MAX) action.take(compile, static_cast<uint16_t>(number));
    return;
  }
}

bool compile_list(Compile& compile, std::string_view list, const std::string& name, uint16_t zone,
                  uint16_t region) {
  constexpr size_t line_limit = 510;
  constexpr std::string_view zone_keyword = "Zone,";
  ListLines lines(list, 0, line_limit);
  std::string_view line;
  bool first = true;
  while (lines.next(line)) {
    if (first && line.starts_with(';')) continue;
    if (first && !line.starts_with(zone_keyword)) {
      if (zone == no_default) {
        log_line(0, "no default zone/reg defined for nodelist `%s'\n", name.c_str());
        return false;
      }
      open_zone(compile, zone);
      open_region(compile, region);
    }
    first = false;
    take_line(compile, line);
  }
  // Closes the list's last net, and stays in the table as an empty one.
  open_net(compile, UINT16_MAX);
  return true;
}

std::string encode(const V9Index& index) {
  ByteWriter writer;
  V9Header header = {.net_count = static_cast<uint32_t>(index.nets.size()),
                     .node_count = static_cast<uint32_t>(index.nodes.size()),
                     .max_hubs = index.max_hubs,
                     .created = static_cast<uint32_t>(std::time(nullptr))};
  header_fields(writer, header);
  size_t nodes_at = header_size + net_size * index.nets.size();
  for (V9Net net : index.nets) {
    net.first = static_cast<uint32_t>(nodes_at + node_size * net.first);
    net_fields(writer, net);
  }
  for (const V9Node& node : index.nodes) node_fields(writer, node);
  return writer.bytes();
}

bool index_is_sound(const NodelistEntry& entry) {
  std::optional<std::string> bytes =
      read_file(entry.path.str() + v9_kind.index + entry.ext.str(), UINT32_MAX);
  return bytes && v9_decode(*bytes).valid;
}

bool build_entry(const NodelistEntry& entry) {
  return v9_compile(entry.names, entry.path.str(), entry.ext.str(), entry.zone, entry.region) == 1;
}

void write_index(const V9Index& index, const std::string& file) {
  print_progress("writing %s\n", file.c_str());
  if (!rewrite_file(file, encode(index), index_file_mode)) {
    stop_run_logged("v9_build: error writing version 9 index file `%s'\n", file.c_str());
  }
  print_progress("size: header %d nets %ld nodes %ld\n", static_cast<int>(header_size),
                 static_cast<long>(net_size * index.nets.size()),
                 static_cast<long>(node_size * index.nodes.size()));
  log_line(4, "done making v9 nodelist\n");
}

void write_lists(const std::vector<std::string>& names, const std::vector<uint32_t>& crcs,
                 const std::string& file) {
  print_progress("building v9 index `%s'...", file.c_str());
  if (!rewrite_file(file, list_records(names, crcs), index_file_mode)) {
    stop_run_logged("v9 error: can`t create v9 index file `%s'\n", file.c_str());
  }
  print_progress("  done\n");
}

}  // namespace

const IndexKind v9_kind = {
    .index = "ver9idx.",
    .lists = "ver9inc.",
    .trace = "v9",
    .checking = "checking v9 nodelist indexes...  ",
    .rebuilding = "rebuilding v9 nodelist indexes\n",
    .rebuilding_level = 1,
    .rebuilt = nullptr,
    .failed = "v9 error: nodelist rebuild failed\n",
    .sound = index_is_sound,
    .build = build_entry,
};

int v9_compile(const std::vector<std::string>& names, const std::string& path, const std::string& ext,
               uint16_t zone, uint16_t region) {
  Compile compile;
  std::vector<uint32_t> crcs;
  for (const std::string& name : names) {
    print_progress("compiling:`%s'\n", (path + name).c_str());
    std::optional<std::string> list = read_file(path + name, UINT32_MAX);
    if (!list) {
      log_line(0, "v9 compile, can't open nodelist file `%s'\n", (path + name).c_str());
      return 0;
    }
    if (!compile_list(compile, *list, path + name, zone, region)) return 0;
    crcs.push_back(~crc32_update(crc32_start, *list));
    log_line(4, "v9: crc done\n");
  }
  close_net(compile);
  V9Index& index = compile.index;
  std::stable_sort(index.nets.begin(), index.nets.end(), [](const V9Net& a, const V9Net& b) {
    return a.net != b.net ? a.net < b.net : a.zone < b.zone;
  });
  print_progress("%d nets, %d nodes       \n", static_cast<int>(index.nets.size()),
                 static_cast<int>(index.nodes.size()));
  write_index(index, path + v9_kind.index + ext);
  write_lists(names, crcs, path + v9_kind.lists + ext);
  return 1;
}

V9Index v9_decode(std::string_view bytes) {
  V9Index index;
  if (bytes.size() < header_size) return index;
  ByteReader reader(bytes);
  V9Header header;
  header_fields(reader, header);
  uint64_t nodes_at = header_size + uint64_t{net_size} * header.net_count;
  if (header.version != v9_version || header.magic != v9_magic ||
      bytes.size() != nodes_at + uint64_t{node_size} * header.node_count) {
    return index;
  }
  index.max_hubs = header.max_hubs;
  index.nets.resize(header.net_count);
  for (V9Net& net : index.nets) {
    net_fields(reader, net);
    if (net.first < nodes_at || (net.first - nodes_at) % node_size != 0) return index;
    net.first = static_cast<uint32_t>((net.first - nodes_at) / node_size);
    if (uint64_t{net.first} + net.node_count > header.node_count) return index;
  }
  index.nodes.resize(header.node_count);
  for (V9Node& node : index.nodes) node_fields(reader, node);
  index.valid = true;
  return index;
}

}  // namespace quelmo
