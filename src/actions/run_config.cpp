#include "actions/run_config.h"

#include <string>
#include <vector>

#include "config/keywords.h"
#include "config/lifecycle.h"
#include "config/tags.h"
#include "core/log.h"
#include "core/recoding.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "select/data_types.h"

namespace quelmo {

void perl_DefKeyWord(ScriptCall& call) {
  std::string keyword(trim_spaces(call.text(0)));
  std::string value(trim_spaces(call.text(1)));
  if (set_keyword_by_name(keyword, value, call.label()) == 0)
    stop_run("%s unknown keyword: `%s'\n", call.label(), keyword.c_str());
  int id = keyword_id(keyword);
  if (id == kw_intab || id == kw_outtab) init_recoding();
}

void perl_DefDataBlock(ScriptCall& call) {
  std::string type = call.text(0);
  std::string tag = call.text(1);
  std::vector<std::string> lines;
  if (!call.array(2, lines)) stop_run("%s argument count (need 3, exist %d)\n", call.label(), call.count());
  int id = data_type_id(type);
  BlockHandler handler = id < 0 ? nullptr : data_types()[static_cast<size_t>(id)].handler;
  if (handler == nullptr) stop_run("%s unknown data type: `%s'\n", call.label(), type.c_str());
  if (forget_tag(tag)) log_line(4, "%s tag %s has already been defined, reset\n", call.label(), tag.c_str());
  for (const std::string& line : lines) handler(tag, line, call.label());
}

void perl_ReReadConfig(ScriptCall& call) {
  std::string name = call.count() > 0 ? call.text(0) : default_config_name;
  if (!save_and_free()) throw Stop();
  load_configuration(name);
}

}  // namespace quelmo
