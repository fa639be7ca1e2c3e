#include "message/write.h"

#include <string>

#include "bases/base_ops.h"
#include "bases/dates.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/attributes.h"
#include "message/current.h"
#include "platform/clock.h"

namespace quelmo {

uint32_t add_msg(AreaType type, std::string_view tag, const Msg& msg, const LineList& text,
                 const PktHeader* pkthdr) {
  current.lastname.clear();
  const Area* area = find_area(type, tag);
  if (area == nullptr) stop_run("add_msg error: areatag of unknown type: `%s'\n", std::string(tag).c_str());
  const BaseOps& ops = base_ops(type);
  if (ops.add == nullptr) {
    log_line(0, "add_msg error: failed to add mail to %s area\n", ops.name);
    return 0;
  }
  if (pkthdr != nullptr && ops.add_with != nullptr) return ops.add_with(*area, msg, text, *pkthdr);
  return ops.add(*area, msg, text);
}

int update_msg() {
  const BaseOps& ops = base_ops(CurMsg.type);
  if (ops.update == nullptr || !ops.update()) return 0;
  Msg& hdr = current.hdr;
  if (hdr.has(int_changed)) {
    log_message_once();
    log_line(1, "   %u updated in %s\n", CurMsg.msgno, upper(CurMsg.tag).c_str());
    run.msgs_written++;
    // time() lags behind the clock by some milliseconds, and a file's time need not: the message would look
    // newer than its stamp.
    // Squish stamps count from the epoch; a shift would hide the mail of the next hours from the next scan.
    long shift = CurMsg.type == area_squish ? 0 : utc_offset_hours() * 3600L;
    CurMsg.maxts = static_cast<uint32_t>(clock_ms() / 1000 + shift);
    hdr.intattr &= ~static_cast<uint32_t>(int_changed);
  }
  return 1;
}

int kill_msg() {
  const BaseOps& ops = base_ops(CurMsg.type);
  return ops.kill != nullptr && ops.kill() ? 1 : 0;
}

void write_back() {
  if (CurMsg.msgno == 0) return;
  if (current.hdr.has(int_changed) || base_ops(CurMsg.type).rewritten_whole) update_msg();
}

}  // namespace quelmo
