#include "nodelist/ndl_index.h"

#include <optional>

#include "core/byte_order.h"
#include "core/console.h"
#include "core/crc32.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "nodelist/file_cache.h"
#include "nodelist/list_lines.h"
#include "platform/files.h"

namespace quelmo {
namespace {

constexpr size_t record_size = 16;
constexpr size_t line_limit = 254;
constexpr uint16_t not_found = 0xFFFF;

template <class Io, class Record>
void fields(Io& io, Record& record) {
  io.u8(record.type);
  io.skip(3);
  io.i32(record.number);
  io.u8(record.file);
  io.skip(3);
  io.u32(record.offset);
}

// An index as it stands on disk, taken apart.
struct NdlIndex {
  std::vector<NdlRecord> records;
  bool cut = false;  // bytes behind the last whole record
};

struct Ndl {
  FileCache<NdlIndex> indexes;
  FileCache<std::vector<ListRecord>> names;
  FileCache<std::string> lists;
  std::string last_node_line;
};
Ndl ndl;

NdlIndex decode_index(const std::string& bytes) {
  NdlIndex index;
  index.records.resize(bytes.size() / record_size);
  std::string_view rest = bytes;
  for (NdlRecord& record : index.records) {
    ByteReader reader(rest.substr(0, record_size));
    fields(reader, record);
    rest.remove_prefix(record_size);
  }
  index.cut = !rest.empty();
  return index;
}

std::vector<ListRecord> decode_names(std::string_view bytes) {
  std::vector<ListRecord> records;
  for (ListRecord record; parse_list_record(bytes, record); bytes.remove_prefix(list_record_size)) {
    records.push_back(record);
  }
  return records;
}

const std::string* list_content(const std::string& path) {
  return ndl.lists.get(path, [](std::string bytes) { return bytes; });
}

// --- lines and their records ---

std::optional<NdlType> indexed_type(ListKeyword keyword) {
  switch (keyword) {
    case ListKeyword::zone:
      return NdlType::zone;
    case ListKeyword::region:
      return NdlType::region;
    case ListKeyword::host:
      return NdlType::host;
    default:
      return std::nullopt;
  }
}

// True if the record points to the line that it was made of. A list that has been replaced behind its index
// has other lines there.
bool points_to_its_line(std::string_view list, const NdlRecord& record) {
  ListLines lines(list, record.offset, line_limit);
  std::string_view line;
  ListLine parsed;
  if (!lines.next(line) || parse_list_line(line, parsed) != ListFault::none) return false;
  std::optional<NdlType> type = indexed_type(parsed.keyword);
  return type && static_cast<uint8_t>(*type) == record.type && parsed.number == record.number;
}

// --- building ---

// Numbers of lines by keyword.
struct Census {
  int zones = 0;
  int regions = 0;
  int hosts = 0;
  int hubs = 0;
  int nodes = 0;
  int pvt = 0;
  int hold = 0;
  int down = 0;

  void count(ListKeyword keyword) {
    struct {
      ListKeyword keyword;
      int& counter;
    } counters[] = {{ListKeyword::zone, zones}, {ListKeyword::region, regions}, {ListKeyword::host, hosts},
                    {ListKeyword::hub, hubs},   {ListKeyword::node, nodes},     {ListKeyword::pvt, pvt},
                    {ListKeyword::hold, hold},  {ListKeyword::down, down}};
    for (auto& entry : counters) entry.counter += entry.keyword == keyword ? 1 : 0;
  }

  void report(const std::string& name) const {
    std::string lines[] = {
        name + ":\n",
        format_text("         found %d zones, %d regions, %d hosts, %d hubs, %d nodes\n", zones, regions,
                    hosts, hubs, nodes),
        format_text("         Pvt:%d Hold:%d Down:%d\n", pvt, hold, down),
    };
    for (const std::string& line : lines) {
      print_progress("%s", line.c_str());
      log_text(4, line);
    }
  }
};

void index_list(std::string_view list, uint8_t file, ByteWriter& index, Census& census) {
  ListLines lines(list, 0, line_limit);
  std::string_view line;
  while (lines.next(line)) {
    if (line.size() <= 1 || line[0] == ';') continue;
    ListLine parsed;
    ListFault fault = parse_list_line(line, parsed);
    if (fault == ListFault::no_commas && log_passes(3)) {
      log_line(3, "ndl_build: error parsing string `%s'\n", std::string(line).c_str());
    }
    if (fault != ListFault::none) continue;
    census.count(parsed.keyword);
    std::optional<NdlType> type = indexed_type(parsed.keyword);
    if (!type) continue;
    NdlRecord record = {.type = static_cast<uint8_t>(*type),
                        .number = parsed.number,
                        .file = file,
                        .offset = static_cast<uint32_t>(lines.offset())};
    fields(index, record);
  }
}

// --- soundness ---

// Offset of the last line of a list that an index must hold; npos if there is none.
size_t last_indexed(std::string_view list) {
  for (size_t end = list.size(); end > 0;) {
    size_t start = list.rfind('\n', end - 1);
    start = start == std::string_view::npos ? 0 : start + 1;
    ListLine parsed;
    ListLines lines(list, start, line_limit);
    std::string_view line;
    if (lines.next(line) && !line.starts_with(';') && parse_list_line(line, parsed) == ListFault::none &&
        indexed_type(parsed.keyword)) {
      return start;
    }
    end = start == 0 ? 0 : start - 1;
  }
  return std::string_view::npos;
}

// Each record must point to the line that it was made of, and those of each list must reach to its last such
// line.
bool index_is_sound(const NodelistEntry& entry) {
  const std::vector<std::string>& names = entry.names;
  const NdlIndex* index = ndl.indexes.get(entry.path.str() + ndl_kind.index + entry.ext.str(), decode_index);
  if (index == nullptr || index->cut) return false;
  size_t next = 0;
  for (size_t file = 0; file < names.size(); file++) {
    const std::string* list = list_content(entry.path.str() + names[file]);
    if (list == nullptr) return false;
    size_t last = std::string_view::npos;
    for (; next < index->records.size() && index->records[next].file == file + 1; next++) {
      if (!points_to_its_line(*list, index->records[next])) return false;
      last = index->records[next].offset;
    }
    if (last != last_indexed(*list)) return false;
  }
  return next == index->records.size();
}

bool build_entry(const NodelistEntry& entry) {
  return ndl_build(entry.names, entry.path.str(), entry.ext.str()) == 1;
}

// --- looking up ---

enum class Step {
  next,        // look at the next record
  done,        // the scan of this index ends
  not_listed,  // the address is not listed, whatever other indexes say
};

// The scan of one index.
struct Search {
  const NodelistEntry& entry;
  const FtnAddr& addr;
  const std::vector<ListRecord>& names;
  uint16_t& uplink;
  uint16_t& region;
  bool first = true;
  bool in_zone = false;
};

Step look_into_list(Search& search, const NdlRecord& record) {
  if (record.file == 0 || record.file > search.names.size()) {
    log_line(4, "is_listed: read error in *.inc file\n");
    return Step::not_listed;
  }
  std::string path = list_file(search.entry, search.names, record.file - 1U);
  const std::string* list = list_content(path);
  if (list == nullptr) stop_run("is_listed: error opening nodelist file `%s'\n", path.c_str());
  if (!points_to_its_line(*list, record)) {
    log_line(4, "is_listed: seek error in nodelist file\n");
    return Step::not_listed;
  }
  if (ndl_lookup(*list, record.offset, search.addr.net, search.addr.node, search.uplink) == 1) {
    log_line(5, "is_listed: node found OK (uplink: /%hu)\n", search.uplink);
  } else {
    search.uplink = not_found;
    log_line(5, "is_listed: node %d not found in the current region/net (%d)\n", search.addr.node,
             search.addr.net);
  }
  return Step::done;
}

Step look_at_net(Search& search, const NdlRecord& record) {
  if (search.first) {
    uint16_t zone = search.entry.zone != 0 ? search.entry.zone : config.main_address.zone;
    log_line(5, "is_listed: no zone at start, assuming the default (%d) -- ", zone);
    if (zone != search.addr.zone) {
      log_line(5, "wrong zone, go to next idx\n");
      return Step::done;
    }
    search.in_zone = true;
  }
  if (!search.in_zone) return Step::next;
  log_line(5, "is_listed: net/region found: %d -- ", record.number);
  if (record.number != search.addr.net) {
    log_line(5, "wrong net, go on scanning current idx.\n");
    return Step::next;
  }
  log_line(5, "net or region found ok.\n");
  if (search.addr.node == 0) {
    search.uplink = 0;
    return Step::done;
  }
  return look_into_list(search, record);
}

Step look_at_record(Search& search, const NdlRecord& record) {
  Step step = Step::next;
  if (record.type == static_cast<uint8_t>(NdlType::zone)) {
    search.in_zone = record.number == search.addr.zone;
    log_line(5, "is_listed: zone found: %d -- ", record.number);
    log_line(5, search.in_zone ? "zone ok.\n" : "wrong zone, go on scanning current idx.\n");
  } else {
    if (record.type == static_cast<uint8_t>(NdlType::region))
      search.region = static_cast<uint16_t>(record.number);
    step = look_at_net(search, record);
  }
  search.first = false;
  return step;
}

Step search_entry(const NodelistEntry& entry, const FtnAddr& addr, uint16_t& uplink, uint16_t& region) {
  region = 0;
  const NdlIndex* index = ndl.indexes.get(entry.path.str() + ndl_kind.index + entry.ext.str(), decode_index);
  const auto* names = ndl.names.get(entry.path.str() + ndl_kind.lists + entry.ext.str(), decode_names);
  if (index == nullptr || names == nullptr) stop_run("failed.\n");
  Search search = {.entry = entry, .addr = addr, .names = *names, .uplink = uplink, .region = region};
  for (const NdlRecord& record : index->records) {
    Step step = look_at_record(search, record);
    if (step != Step::next) return step;
  }
  return index->cut ? Step::not_listed : Step::done;
}

}  // namespace

const IndexKind ndl_kind = {
    .index = "nodeidx.",
    .lists = "nodeinc.",
    .trace = "ndl",
    .checking = "checking nodelist indexes...  ",
    .rebuilding = "rebuilding nodelist indexes\n",
    .rebuilding_level = 5,
    .rebuilt = "ndl: done rebuilding nodelist indexes\n",
    .failed = "ndl error: nodelist rebuild failed\n",
    .sound = index_is_sound,
    .build = build_entry,
};

int ndl_build(const std::vector<std::string>& names, const std::string& path, const std::string& ext) {
  ByteWriter index;
  std::vector<uint32_t> crcs;
  for (size_t i = 0; i < names.size(); i++) {
    constexpr uint64_t largest_list = UINT32_MAX;
    std::optional<std::string> list = read_file(path + names[i], largest_list);
    if (!list) {
      log_line(0, "ndl_build: error opening nodelist file `%s'\n", (path + names[i]).c_str());
      return 0;
    }
    Census census;
    index_list(*list, static_cast<uint8_t>(i + 1), index, census);
    census.report(names[i]);
    crcs.push_back(~crc32_update(crc32_start, *list));
  }
  std::string index_file = path + ndl_kind.index + ext;
  std::string lists_file = path + ndl_kind.lists + ext;
  if (!rewrite_file(index_file, index.bytes(), index_file_mode)) {
    log_line(0, "ndl_build: error creating index file `%s'\n", index_file.c_str());
    return 0;
  }
  if (!rewrite_file(lists_file, list_records(names, crcs), index_file_mode)) {
    log_line(0, "ndl_build: error creating index file `%s'\n", lists_file.c_str());
    return 0;
  }
  return 1;
}

bool is_listed(const NodelistBlock& block, const FtnAddr& addr, uint16_t& uplink, uint16_t& region) {
  if (log_passes(4)) {
    log_line(4, "is_listed: nodelist look-up for address: %s\n", addr_to_text(addr).c_str());
    log_line(4, "is_listed: current nodelist block name: %s\n", block.tag.c_str());
  }
  if (!block.active) return false;
  uplink = not_found;
  for (const NodelistEntry& entry : block.entries) {
    if (search_entry(entry, addr, uplink, region) == Step::not_listed) return false;
    log_line(5, "is_listed: end of scanning current idx\n");
    if (uplink != not_found) {
      log_line(5, "is_listed: node found, no need to go to next idx\n");
      break;
    }
  }
  log_line(5, "is_listed: done scanning all nodelists\n");
  return uplink != not_found;
}

int ndl_lookup(std::string_view list, size_t start, uint16_t net, uint16_t node, uint16_t& uplink) {
  uplink = 0;
  ListLines lines(list, start, line_limit);
  std::string_view line;
  while (lines.next(line)) {
    if (line.empty() || line[0] == ';') continue;
    ListLine parsed;
    ListFault fault = parse_list_line(line, parsed);
    if (fault == ListFault::no_commas && log_passes(3)) {
      log_line(3, "ndl_lookup: error parsing string `%s'\n", std::string(line).c_str());
    }
    if (fault != ListFault::none) continue;
    if (indexed_type(parsed.keyword)) {
      if (parsed.number == net) continue;
      log_line(4, "ndl_lookup: next zone/region/net found, look-up failed\n");
      return 0;
    }
    switch (parsed.keyword) {
      case ListKeyword::hub:
        uplink = static_cast<uint16_t>(parsed.number);
        break;
      case ListKeyword::node:
      case ListKeyword::pvt:
      case ListKeyword::hold:
        break;
      default:
        continue;
    }
    if (parsed.number != node) continue;
    log_line(4, "ndl_lookup: uplink node # = %d\n", uplink);
    ndl.last_node_line = line;
    return 1;
  }
  return 0;
}

const std::string& last_node_line() {
  return ndl.last_node_line;
}

void clear_node_line() {
  ndl.last_node_line.clear();
}

void free_ndl() {
  ndl = Ndl();
}

}  // namespace quelmo
