// A Squish base: two bytes tell the length of the index, which follows; the rest is the base. It is looked
// at, scanned, changed and packed, and whatever can be read must stay readable.
#include "bases/squish.h"
#include "bases/look.h"
#include "bases/squish_check.h"
#include "bases/squish_pack.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "message/current.h"
#include "platform/files.h"
#include "target.h"

namespace {

using namespace quelmo;

constexpr size_t most_messages = 200;

void put(const char* name, std::string_view bytes) {
  Fd file = open_file(name, Open::overwrite);
  fuzz::check(file && write_all(file, bytes), "the input can be written");
}

// Scans the base; `visit` is called for each message. False if it can't be read to its end.
template <class Visit>
bool scan(const Area& area, Visit visit) {
  CurMsg.type = area_squish;
  CurMsg.tag = area.tag;
  CurMsg.path = area.path;
  bool whole = squish_select(area);
  try {
    while (whole && squish_read("fuzz")) visit();
  } catch (const Stop&) {
    whole = false;
  }
  squish_close();
  return whole;
}

void change_message() {
  if (CurMsg.msgno > most_messages) return;
  try {
    if (CurMsg.msgno % 3 == 0) {
      squish_kill();
    } else {
      current.text.append(std::string(CurMsg.msgno % 200, 'x') + "\r");
      squish_update();
    }
  } catch (const Stop&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool entered = (fuzz::enter_scratch_directory(), true);
  if (!entered || size < 2) return 0;
  std::string_view bytes = fuzz::as_text(data, size);
  size_t index = data[0] | static_cast<size_t>(data[1]) << 8;
  bytes.remove_prefix(2);
  config.chat = false;
  put("sq.sqi", bytes.substr(0, index));
  put("sq.sqd", bytes.substr(std::min(index, bytes.size())));
  Area area;
  area.type = area_squish;
  area.tag = "SQ";
  area.path = "sq";

  Look look = {.check = true, .silent = true};
  squish_look("sq", look);
  size_t messages = 0;
  bool readable = scan(area, [&] { messages++; });
  fuzz::check(readable || look.faults != 0, "the check finds what a scan can't read");
  try {
    Msg msg;
    LineList text;
    text.split("\x01MSGID: 2:1/2 1\rHi\r");
    for (int i = 0; i < 3; i++) squish_add(area, msg, text);
  } catch (const Stop&) {
  }
  // What follows waits for the disk.
  if (size % 4 != 0) return 0;
  scan(area, change_message);
  if (look.faults == 0) {
    Look after = {.check = true, .silent = true};
    squish_look("sq", after);
    fuzz::check(after.faults == 0, "changes leave a whole base whole");
  }
  if (size % 16 != 0) return 0;
  size_t before = 0;
  size_t left = 0;
  readable = scan(area, [&] { before++; });
  if (sqpack(area) == 1 && readable) {
    fuzz::check(scan(area, [&] { left++; }) && left == before, "a pack keeps every message");
  }
  return 0;
}
