// A list of attached files, and the input's first line as a path in an outbound.
#include "bases/flow.h"
#include "bases/outbound_names.h"
#include "core/run_state.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace quelmo;
  const std::string_view list = fuzz::as_text(data, size);
  config.main_address = {.zone = 2, .net = 999, .node = 100, .domain = "testnet"};
  size_t at = 0;
  while (at < size) {
    size_t before = at;
    FlowLine line = take_flow_line(list, at, 71);
    fuzz::check(at > before && at <= size, "every line moves on");
    fuzz::check(line.file.size() <= 71, "a line fits a subject");
    fuzz::check(line.file.find_first_of("\r\n") == std::string_view::npos, "a line has no end in it");
  }

  const std::string path = "/out" + std::string(list.substr(0, list.find('\n')));
  Area area;
  area.type = area_bink;
  area.path = "/out/";
  for (OutboundKind kind : {outbound_binkley, outbound_brake, outbound_amiga4d}) {
    for (int flags = 0; flags < 4; flags++) {
      area.outbound_kind = kind;
      area.no_main_zone = (flags & 1) != 0;
      area.multi_domain = (flags & 2) != 0;
      fuzz::check(!flag_of_path(area, path).empty(), "every path has a flag");
      flavor_of_name(area, path);
      std::optional<OutboundName> name = read_outbound_name(area, path);
      if (!name) continue;
      std::string made = outbound_name(area, name->to, name->what, name->letter);
      std::optional<OutboundName> again = read_outbound_name(area, made);
      fuzz::check(again && addr_equal(again->to, name->to) && again->what == name->what &&
                      again->letter == name->letter,
                  "what is read out of a name makes a name that reads the same");
    }
  }
  return 0;
}
