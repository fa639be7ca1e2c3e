#include "config/dupe_store.h"

#include <algorithm>
#include <string>
#include <vector>

#include "core/byte_order.h"
#include "core/fixed_text.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "platform/bytes_case.h"
#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {
namespace {

// A message seen. On disk: never change.
struct DupeRecord {
  uint32_t header_crc = 0;
  uint32_t msgid_crc = 0;
  FixedText<40> msgid;
};
constexpr size_t dupe_record_size = 48;

template <class Io, class Record>
void fields(Io& io, Record& r) {
  io.u32(r.header_crc);
  io.u32(r.msgid_crc);
  io.text(r.msgid, 40);
}

struct DupeFile {
  FixedText<256> tag;
  std::string file;
  std::vector<DupeRecord> records;
};

std::vector<DupeFile> dupe_files;  // the one longest in memory first

// A tag comes out of a message: it names a file under the directory, and none elsewhere.
std::string dupe_file_name(std::string_view tag) {
  std::string name(tag);
  std::replace_if(name.begin(), name.end(), is_separator, '_');
  return config.dupebase_path.str() + name + ".dup";
}

std::vector<DupeRecord> load_records(const std::string& name) {
  Fd file = open_file(name, Open::create, 0600);
  int64_t length = file ? file_length(file) : -1;
  if (length < 0) {
    report_errno(name);
    stop_run_logged("is_dupe: error opening dupebase file : `%s'\n", name.c_str());
  }
  std::string bytes(static_cast<size_t>(length) / dupe_record_size * dupe_record_size, '\0');
  if (read_at(file, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
    stop_run_logged("is_dupe: error reading dupebase file : `%s'\n", name.c_str());
  std::vector<DupeRecord> records(bytes.size() / dupe_record_size);
  for (size_t i = 0; i < records.size(); i++) {
    ByteReader reader(std::string_view(bytes).substr(i * dupe_record_size, dupe_record_size));
    fields(reader, records[i]);
  }
  return records;
}

// The file isn't cut: records behind those in memory stay.
void write_records(const DupeFile& dupes) {
  Fd file = open_file(dupes.file, Open::create, 0600);
  if (!file) {
    report_errno(dupes.file);
    report_logged("flush_db: error opening dupebase file : `%s'\n", dupes.file.c_str());
    return;
  }
  ByteWriter writer;
  for (const DupeRecord& record : dupes.records) fields(writer, record);
  if (write_at(file, writer.bytes(), 0) && file.close()) return;
  report_errno(dupes.file);
  report_logged("flush_db: error writing dupebase file : `%s'\n", dupes.file.c_str());
}

DupeFile& file_of(std::string_view tag) {
  FixedText<256> kept = tag;
  for (DupeFile& dupes : dupe_files) {
    if (equal_nocase(dupes.tag, kept)) return dupes;
  }
  DupeFile fresh{.tag = kept, .file = dupe_file_name(kept), .records = {}};
  fresh.records = load_records(fresh.file);
  if (!dupe_files.empty() && dupe_files.size() >= static_cast<size_t>(std::max(config.dupes_max_open, 1))) {
    write_records(dupe_files.front());
    dupe_files.erase(dupe_files.begin());
  }
  dupe_files.push_back(std::move(fresh));
  return dupe_files.back();
}

}  // namespace

bool is_dupe(std::string_view tag, uint32_t header_crc, uint32_t msgid_crc, std::string_view msgid) {
  DupeRecord record{.header_crc = header_crc, .msgid_crc = msgid_crc, .msgid = msgid};
  std::vector<DupeRecord>& records = file_of(tag).records;
  bool known = std::ranges::any_of(records, [&](const DupeRecord& other) {
    return other.header_crc == header_crc && other.msgid_crc == msgid_crc && other.msgid == record.msgid;
  });
  if (known) return true;
  size_t most = static_cast<size_t>(std::max(config.dupes_max_msg, 1));
  if (records.size() >= most) records.erase(records.begin());
  records.push_back(record);
  return false;
}

void flush_db() {
  for (const DupeFile& dupes : dupe_files) write_records(dupes);
  dupe_files.clear();
}

}  // namespace quelmo
