#include "bases/squish_pack.h"

#include <string>

#include "bases/pack_image.h"
#include "bases/squish.h"
#include "bases/squish_frames.h"
#include "bases/squish_index.h"
#include "core/console.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"
#include "platform/lock.h"

namespace quelmo {
namespace {

// The new base as it grows.
struct Packed {
  std::string head;    // SqBase
  std::string frames;  // all that stands behind it
  std::string index;
};

bool copy_frames(SqScan& scan, SqBase& base, Packed& packed, ProgressLine& progress) {
  for (size_t i = 0; i < scan.list.size(); i++) {
    check_signals();
    SqIdx& record = scan.list[i];
    SqHdr hdr;
    std::string_view content;
    if (!read_sqframe(scan.sqd, scan.window, scan.sqd_size, record.ofs, hdr, content))
      return current.sq_errno == sq_in_writing ? sq_fail(sq_bad_type) : false;
    uint64_t offset = sq_base_size + packed.frames.size();
    uint64_t end = offset + sq_hdr_size + content.size();
    if (end > UINT32_MAX) return sq_fail(sq_seek);  // frames that many records share
    hdr.next_frame = i + 1 < scan.list.size() ? static_cast<uint32_t>(end) : 0;
    hdr.prev_frame = base.last_frame;
    hdr.frame_length = hdr.msg_length;
    packed.frames += sq_bytes(hdr);
    packed.frames += content;
    record.ofs = static_cast<uint32_t>(offset);
    packed.index += sq_bytes(record);
    if (i == 0) base.begin_frame = record.ofs;
    base.last_frame = record.ofs;
    base.end_frame = static_cast<uint32_t>(end);
    progress.one_more();
  }
  return true;
}

// The new base in memory; nothing has been written yet.
bool build(SqScan& scan, SqBase base, Packed& packed, ProgressLine& progress) {
  base.num_msg = base.high_msg = static_cast<uint32_t>(scan.list.size());
  base.begin_frame = base.last_frame = base.free_frame = base.last_free_frame = 0;
  base.end_frame = sq_base_size;
  packed.frames.reserve(scan.sqd_size);
  packed.index.reserve(scan.list.size() * sq_idx_size);
  if (!copy_frames(scan, base, packed, progress)) return false;
  packed.head = sq_bytes(base);
  return true;
}

bool put_in_place(const Area& area, const SqScan& scan, const Packed& packed) {
  const PackedFile files[] = {{".sqi", &scan.sqi, {packed.index}},
                              {".sqd", &scan.sqd, {packed.head, packed.frames}}};
  if (!write_image(area.path, files)) return sq_fail(sq_write);
  bool written = true;
  for (const PackedFile& file : files) {
    if (written && !write_in_place(file)) {
      log_line(0, "sqpack: error writing %s file, the packed base is `%s'\n", file.extension,
               image_path(area.path).c_str());
      written = sq_fail(sqi_write);
    }
  }
  if (written) remove_image(area.path, files);
  return written;
}

bool pack(const Area& area) {
  SqScan scan;
  SqBase base;
  int64_t found = 0;
  if (!select_squish_area(area, scan)) return false;
  if (!scan.sqd) return sq_fail(sq_locked);
  if (lock_region(scan.sqd, 0, 1) != 0) {
    log_line(0, "error locking sqd file\n");
    return sq_fail(sq_locked);
  }
  log_line(3, "sqd file locked OK\n");
  // A base without a message isn't locked yet, and others may have added one by now.
  scan.sqd_size = sq_length(scan.sqd);
  if (!read_sqbase(scan.sqd, base)) return false;
  if (!own_index(scan, base.num_msg, found)) return false;
  std::erase_if(scan.list, [](const SqIdx& record) { return record.ofs == sq_dead; });
  if (base.num_msg != scan.list.size()) return sq_fail(sqi_bad_count);
  Packed packed;
  ProgressLine progress("\npacking squish base (" + upper(area.tag) + ") ", scan.list.size(), 70);
  if (!build(scan, base, packed, progress) || !put_in_place(area, scan, packed)) return false;
  if (config.chat) {
    progress.done();
    std::string line =
        format_text("Squish area: %s.  Original size= %llu. Packed size= %zu.\n", area.tag.c_str(),
                    static_cast<unsigned long long>(scan.sqd_size), sq_base_size + packed.frames.size());
    write_stderr(line);
    log_line(1, "%s", line.c_str());
  }
  return true;
}

}  // namespace

int sqpack(const Area& area) {
  return pack(area) ? 1 : 0;
}

}  // namespace quelmo
