// A JAM base: read, changed, killed, packed, looked at. The input is the lengths of .jhr and .jdx in two
// bytes each, these two files, and .jdt.
#include <fstream>

#include "bases/jam.h"
#include "bases/jam_check.h"
#include "bases/jam_pack.h"
#include "bases/jam_text.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "message/attributes.h"
#include "message/current.h"
#include "target.h"

namespace {

using namespace quelmo;

void spew(const char* name, std::string_view bytes) {
  std::ofstream(name, std::ios::binary) << bytes;
}

void check_message(const JAMHDR& hdr) {
  size_t elements = 0;
  for (std::string_view element : current.text) {
    fuzz::check(element.size() <= LineList::element_limit, "elements keep their limit");
    elements++;
  }
  fuzz::check(elements == current.text.size(), "all elements are there");
  JAMHDR fresh = hdr;
  JAMIDX idx;
  JamParts parts;
  text_to_jam(current.hdr, current.text, {}, fresh, idx, parts);
  std::string_view block = parts.subfields;
  Subfield field;
  while (next_subfield(block, field)) {
  }
  fuzz::check(block.empty() && fresh.SubfieldLen == parts.subfields.size(), "a block that we make is whole");
}

// Each second message is changed, each third killed.
void scan(const Area& area) {
  CurMsg = CurrentArea();
  CurMsg.type = area_jam;
  CurMsg.tag = area.tag;
  CurMsg.path = area.path;
  if (!jam_select(area)) return;
  for (uint64_t i = 1;; i++) {
    current = CurrentMessage();
    if (!jam_read("fuzz")) break;
    fuzz::check(i <= CurMsg.jam.end / jam_index_size, "no more messages than index records");
    check_message(CurMsg.jam.hdr);
    current.text.append("\x01Via 2:999/100\r");
    if (i % 2 == 0) jam_update();
    if (i % 3 == 0) jam_kill();
  }
  jam_add(area, Msg(), current.text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view bytes = fuzz::as_text(data, size);
  if (size < 4) return 0;
  size_t headers = data[0] | data[1] << 8;
  size_t index = data[2] | data[3] << 8;
  bytes.remove_prefix(4);
  spew("f.jhr", bytes.substr(0, headers));
  bytes.remove_prefix(std::min(headers, bytes.size()));
  spew("f.jdx", bytes.substr(0, index));
  bytes.remove_prefix(std::min(index, bytes.size()));
  spew("f.jdt", bytes);

  config.chat = false;
  Area area;
  area.type = area_jam;
  area.tag = "F";
  area.path = "f";
  try {
    scan(area);
  } catch (const Stop&) {
  }
  jam_close();
  // What is printed and what is flushed takes time.
  if (size % 16 == 0) jam_pack(area);
  Look look = {.check = size % 16 < 2};
  if (size % 16 < 3) jam_look("f", look);
  return 0;
}
