#include "bases/lastread.h"

#include <iterator>

#include "core/byte_order.h"

namespace quelmo {
namespace {

struct Layout {
  size_t record;  // bytes
  size_t width;   // bytes of a number
  size_t first;   // offset of the first number that is looked at, up to the end of the record
};
constexpr Layout layouts[] = {{.record = 2, .width = 2, .first = 0},
                              {.record = 4, .width = 4, .first = 0},
                              {.record = 16, .width = 4, .first = 8}};

}  // namespace

void fix_lastread(const Fd& file, Lastread kind, uint32_t killed, uint32_t previous) {
  const Layout& layout = layouts[static_cast<int>(kind)];
  ByteWriter killed_bytes;
  ByteWriter previous_bytes;
  killed_bytes.u32(killed);
  previous_bytes.u32(previous);
  // A number beyond the field's width stands in no record.
  if (layout.width < 4 && killed >> (8 * layout.width) != 0) return;
  std::string_view from = std::string_view(killed_bytes.bytes()).substr(0, layout.width);
  std::string_view to = std::string_view(previous_bytes.bytes()).substr(0, layout.width);

  char block[4096];
  static_assert(sizeof block % 16 == 0);
  for (uint64_t position = 0;; position += sizeof block) {
    ssize_t size = read_at(file, block, sizeof block, position);
    if (size <= 0) return;
    std::string_view bytes(block, static_cast<size_t>(size));
    for (size_t record = 0; record + layout.record <= bytes.size(); record += layout.record) {
      for (size_t at = record + layout.first; at < record + layout.record; at += layout.width) {
        if (bytes.substr(at, layout.width) == from) write_at(file, to, position + at);
      }
    }
  }
}

}  // namespace quelmo
