#include "bases/oip.h"

#include "core/log.h"

namespace quelmo {

bool writeOIP(const Area& area, const Msg&, const LineList&) {
  log_line(0, "writeOIP: error opening pkt file: `%s'\n", area.path.c_str());
  return false;
}

}  // namespace quelmo
