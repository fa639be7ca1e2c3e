// A template file, and the two macro expanders on its text.
#include <fstream>

#include "actions/templates.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "message/macros.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quelmo;
  const std::string_view text = fuzz::as_text(data, size);
  std::string narrow(text);
  expand_config(narrow);
  fuzz::check(narrow.size() <= 255 || narrow == text, "a long text stays as it is");
  std::string wide(text.substr(0, 2000));
  expand_macro(wide);
  std::ofstream("fuzz.tpl", std::ios::binary) << text;
  const LineList lines = read_tpl("fuzz.tpl");
  for (std::string_view line : lines)
    fuzz::check(line.size() <= LineList::element_limit, "elements keep their limit");
  fuzz::check(lines.empty() || lines.back().ends_with('\r'), "the last line is ended");
  return 0;
}
