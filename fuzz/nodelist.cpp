// The lines of a nodelist, and the bytes of a version 9 index: the same input serves as both.
#include "core/stop.h"
#include "nodelist/list_lines.h"
#include "nodelist/lookup.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quelmo;
  const std::string_view text = fuzz::as_text(data, size);
  constexpr size_t limit = 254;
  ListLines lines(text, 0, limit);
  size_t before = 0;
  for (std::string_view line; lines.next(line); before = lines.offset()) {
    fuzz::check(line.size() <= limit && lines.offset() >= before, "lines go forward, within their limit");
    ListLine parsed;
    if (parse_list_line(line, parsed) != ListFault::none) continue;
    uint16_t uplink = 0;
    auto net = static_cast<uint16_t>(parsed.number);
    if (ndl_lookup(text, lines.offset(), net, 1, uplink) == 1) {
      fuzz::check(!last_node_line().empty(), "a node that is found has a line");
    }
  }

  const V9Index index = v9_decode(text);
  for (const V9Net& net : index.nets) {
    if (!index.valid) break;
    for (uint16_t node : std::initializer_list<uint16_t>{0, 1, 100, 0xFFFF}) {
      uint16_t zone = 0;
      uint16_t region = 0;
      uint16_t uplink = 0;
      v9_search(index, 0, net.net, node, zone, region, uplink);
      v9_search(index, net.zone, net.net, node, zone, region, uplink);
    }
  }
  return 0;
}
