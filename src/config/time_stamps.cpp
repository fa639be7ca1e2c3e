#include "config/time_stamps.h"

#include <cerrno>
#include <string>
#include <vector>

#include "core/byte_order.h"
#include "core/fixed_text.h"
#include "core/log.h"
#include "platform/bytes_case.h"
#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {
namespace {

constexpr size_t tag_width = 20;

struct TsEntry {
  FixedText<tag_width> tag;
  uint32_t maxts = 0;
};
constexpr size_t record_size = 24;

template <class Io>
void fields(Io& io, TsEntry& entry) {
  io.text(entry.tag, tag_width);
  io.u32(entry.maxts);
}

struct TsList {
  std::vector<TsEntry> entries;  // one for each area, in the order of definition
  std::string file;              // name of the kept file; empty if none
};
TsList ts_list;

TsEntry* find(std::string_view tag) {
  for (TsEntry& entry : ts_list.entries) {
    if (equal_nocase(entry.tag, tag)) return &entry;
  }
  return nullptr;
}

}  // namespace

void add_ts_entry(std::string_view tag) {
  if (find(tag) == nullptr) ts_list.entries.push_back({.tag = tag});
}

void set_ts(std::string_view tag, uint32_t maxts) {
  if (TsEntry* entry = find(tag)) {
    entry->maxts = maxts;
  } else {
    log_line(4, "set_ts: area `%s' not found in tslist\n", std::string(tag).c_str());
  }
}

uint32_t get_ts(std::string_view tag) {
  const TsEntry* entry = find(tag);
  return entry != nullptr ? entry->maxts : 0;
}

void read_tsfile(std::string_view name) {
  ts_list.file.clear();
  Fd fd = open_file(name, Open::create, 0600);
  if (!fd) return;
  ts_list.file = name;
  for (TsEntry& entry : ts_list.entries) entry.maxts = 0;
  char record[record_size];
  while (read_some(fd, record, record_size) == static_cast<ssize_t>(record_size)) {
    ByteReader reader({record, record_size});
    TsEntry stored;
    fields(reader, stored);
    set_ts(stored.tag, stored.maxts);
  }
}

bool ts_in_use() {
  return !ts_list.file.empty();
}

void write_tsfile() {
  if (ts_list.file.empty()) return;
  ByteWriter writer;
  for (TsEntry& entry : ts_list.entries) fields(writer, entry);
  if (!rewrite_file(ts_list.file, writer.bytes(), 0600)) {
    std::string reason = system_error(errno);
    log_line(0, "write_tsfile: error writing `%s': %s\n", ts_list.file.c_str(), reason.c_str());
  }
  ts_list.file.clear();
}

void free_ts_list() {
  ts_list.entries.clear();
  ts_list.file.clear();
}

}  // namespace quelmo
