// A configuration file with its data blocks. Reading ends well or with the stop that a bad line is due.
#include <fstream>

#include "config/areas.h"
#include "config/keywords.h"
#include "config/lifecycle.h"
#include "config/reader.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quelmo;
  const std::string_view text = fuzz::as_text(data, size);
  // Configurations name files and make empty bases: stay in the scratch directory.
  if (text.find_first_of("/\\") != std::string_view::npos || text.find("..") != std::string_view::npos)
    return 0;
  std::ofstream("fuzz.cfg", std::ios::binary) << text;
  set_defaults();
  config.chat = false;
  try {
    read_config("", "fuzz.cfg");
  } catch (const Stop&) {
  }
  save_and_free();
  return 0;
}
