#include "actions/services.h"

#include "config/global_vars.h"
#include "core/log.h"
#include "core/text.h"

namespace quelmo {

void perl_Log(ScriptCall& call) {
  log_text(to_int(call.text(0)), call.text(1));
  call.give_nothing();
}

void perl_SetGlobalVar(ScriptCall& call) {
  set_global_var(call.text(0), call.text(1));
}

void perl_UnSetGlobalVar(ScriptCall& call) {
  unset_global_var(call.text(0));
}

void perl_GetGlobalVar(ScriptCall& call) {
  if (const std::string* value = global_var(call.text(0))) call.give(*value);
}

}  // namespace quelmo
