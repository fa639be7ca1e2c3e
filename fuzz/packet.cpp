// A packet: loaded from a file, its messages taken one by one, every second one left out, the rest written
// back. And the same bytes as packed messages without a file around them.
#include "bases/packet_file.h"
#include "bases/pkt_records.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quelmo;
  static const bool ready = (fuzz::enter_scratch_directory(), true);
  fuzz::check(ready, "there is a directory");
  const std::string_view bytes = fuzz::as_text(data, size);
  LineList text;
  PackedMsg msg;
  size_t at = 0;
  for (size_t before = 0; take_packed(bytes, at, msg, text) == Taken::whole && at < size; before = at) {
    fuzz::check(at > before && at <= size, "messages go forward");
  }

  const std::string path = "00000001.pkt";
  fuzz::check(rewrite_file(path, bytes, 0600), "the packet is there");
  PktScan scan;
  if (load_packet(path, scan) != Load::ok) {
    fuzz::check(read_file(path) == bytes, "a damaged packet stays as it is");
    return 0;
  }
  std::string kept(bytes.substr(0, pkt_header_size));
  bool whole = true;
  for (int n = 0; whole && !at_end(scan); n++) {
    size_t start = scan.cur_off;
    whole = read_packed_msg(scan, text);
    if (!whole) break;
    fuzz::check(scan.cur_off > start && scan.cur_off <= scan.end_off, "a message lies in its packet");
    if (n % 2 == 0) kept += bytes.substr(pkt_header_size + start, scan.cur_off - start);
    n % 2 == 0 ? keep_current(scan) : drop_current(scan);
  }
  if (!whole) {
    unload(scan);
    fuzz::check(read_file(path) == bytes, "a damaged packet stays as it is");
    return 0;
  }
  fuzz::check(save_file(scan), "the packet is written");
  fuzz::check(read_file(path) == kept + std::string(pkt_end), "what was kept stands in it, byte for byte");
  return 0;
}
