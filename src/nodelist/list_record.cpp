#include "nodelist/list_record.h"

#include <optional>

#include "core/byte_order.h"
#include "core/console.h"
#include "core/crc32.h"
#include "core/log.h"
#include "core/stop.h"
#include "platform/bytes_case.h"
#include "platform/files.h"

namespace quelmo {
namespace {

constexpr size_t name_width = 12;

void trace(const IndexKind& kind, int level, const std::string& text) {
  if (log_passes(level)) log_text(level, std::string(kind.trace) + ": " + text);
}

// One record against the file that stands in its place now.
bool record_fits(const IndexKind& kind, const NodelistEntry& entry, const ListRecord& record,
                 const std::string& name) {
  // A longer name is stored with its first 12 bytes.
  if (!equal_nocase(record.name, std::string_view(name).substr(0, name_width))) {
    trace(kind, 2, "nodelist names changed: old:`" + record.name + "' new:`" + name + "'\n");
    return false;
  }
  std::string path = entry.path.str() + name;
  if (!file_exists(path)) {
    trace(kind, 3, "incorrect filename stored in nodeinc : `" + name + "'\n");
    return false;
  }
  if (crc32_file(path) == record.crc) return true;
  trace(kind, 3, "CRC don`t match (" + name + ")\n");
  return false;
}

bool records_fit(const IndexKind& kind, const NodelistEntry& entry, std::string_view bytes) {
  const std::vector<std::string>& names = entry.names;
  constexpr char count_differs[] = "the number of nodelist files in config and indexfile don`t match\n";
  size_t count = 0;
  for (; !bytes.empty(); count++) {
    ListRecord record;
    if (!parse_list_record(bytes, record)) {
      trace(kind, 3, "nodeinc record is of incorrect size\n");
      return false;
    }
    bytes.remove_prefix(list_record_size);
    if (count == names.size()) {
      trace(kind, 3, count_differs);
      return false;
    }
    if (!record_fits(kind, entry, record, names[count])) return false;
  }
  if (count == names.size()) return true;
  trace(kind, 3, count_differs);
  return false;
}

}  // namespace

bool parse_list_record(std::string_view bytes, ListRecord& record) {
  if (bytes.size() < list_record_size) return false;
  ByteReader reader(bytes.substr(0, list_record_size));
  FixedText<name_width + 1> name;
  reader.u8(record.length);
  reader.text(name, name_width);
  reader.skip(3);
  reader.u32(record.crc);
  record.name = name.view().substr(0, record.length);
  return true;
}

std::string list_records(const std::vector<std::string>& names, const std::vector<uint32_t>& crcs) {
  ByteWriter writer;
  for (size_t i = 0; i < names.size(); i++) {
    std::string name = names[i].substr(0, name_width);
    writer.u8(static_cast<uint8_t>(std::min<size_t>(names[i].size(), UINT8_MAX)));
    for (size_t k = 0; k < name_width; k++) writer.u8(k < name.size() ? static_cast<uint8_t>(name[k]) : 0);
    writer.skip(3);
    writer.u32(crcs[i]);
  }
  return writer.bytes();
}

bool index_is_current(const IndexKind& kind, const NodelistEntry& entry) {
  std::string index = entry.path.str() + kind.index + entry.ext.str();
  log_line(3, "trying to find index file `%s'... ", index.c_str());
  if (!file_exists(index)) {
    log_line(3, "not found.\n");
    return false;
  }
  std::optional<std::string> lists = read_file(entry.path.str() + kind.lists + entry.ext.str(), 1 << 20);
  if (!lists) {
    log_line(3, "failed.\n");
    return false;
  }
  print_progress("%s", kind.checking);
  if (!records_fit(kind, entry, *lists)) return false;
  if (!kind.sound(entry)) {
    trace(kind, 3, "index file `" + index + "' is damaged\n");
    return false;
  }
  trace(kind, 3, "index files are ok and up-to-date\n");
  return true;
}

void check_index(const IndexKind& kind, const NodelistEntry& entry) {
  if (index_is_current(kind, entry)) return;
  log_text(kind.rebuilding_level, kind.rebuilding);
  print_progress("%s", kind.rebuilding);
  if (!kind.build(entry)) stop_run_logged("%s", kind.failed);
  if (kind.rebuilt != nullptr) log_text(4, kind.rebuilt);
}

std::string list_file(const NodelistEntry& entry, const std::vector<ListRecord>& records, size_t i) {
  const ListRecord& record = records[i];
  if (record.length > name_width && i < entry.names.size() && entry.names[i].starts_with(record.name)) {
    return entry.path.str() + entry.names[i];
  }
  return entry.path.str() + record.name;
}

}  // namespace quelmo
