#include "bases/text_area.h"

namespace quelmo {

bool text_select(const Area&) {
  return true;
}

bool text_read(const char*) {
  return false;
}

bool text_kill() {
  return false;
}

}  // namespace quelmo
