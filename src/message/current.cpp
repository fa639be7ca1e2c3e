#include "message/current.h"

#include "core/crc32.h"
#include "core/log.h"
#include "core/text.h"
#include "message/attributes.h"

namespace quelmo {

CurrentArea CurMsg;
CurrentMessage current;

void forget_message() {
  current.text.clear();
  current.vias.clear();
  current.hdr.intattr = 0;
  current.hdr.flags = 0;
  CurMsg.msgno = 0;
}

void log_message_once() {
  Msg& hdr = current.hdr;
  if (hdr.has(int_logged)) return;
  if (log_passes(1)) {
    // The finished line is what LOGINCLUDE and LOGEXCLUDE see, so that they can name a sender.
    log_text(1,
             format_text("%u %s (%s) -> %s (%s)\n", CurMsg.msgno, hdr.fromname.c_str(),
                         addr_to_text(hdr.from).c_str(), hdr.toname.c_str(), addr_to_text(hdr.to).c_str()));
  }
  hdr.intattr |= int_logged;
}

uint32_t message_length() {
  if (current.hdr.length == 0) current.hdr.length = static_cast<uint32_t>(current.text.length());
  return current.hdr.length;
}

void msg_crcs(uint32_t& header_crc, uint32_t& msgid_crc) {
  const Msg& hdr = current.hdr;
  msgid_crc = crc32_update(crc32_start, hdr.msgid);
  header_crc = crc32_start;
  std::string to = addr_to_text(hdr.to);
  std::string from = addr_to_text(hdr.from);
  for (std::string_view part : {std::string_view(to), std::string_view(from), hdr.fromname.view(),
                                hdr.toname.view(), hdr.date.view(), hdr.subject.view()}) {
    header_crc = crc32_update(header_crc, part);
  }
}

bool message_in_memory(const char* label, int level) {
  if (CurMsg.msgno != 0) return true;
  log_line(level, "%s no active message in memory\n", label);
  return false;
}

}  // namespace quelmo
