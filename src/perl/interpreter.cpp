#include "perl/interpreter.h"

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <vector>

#include "bases/dates.h"
#include "config/lifecycle.h"
#include "core/log.h"
#include "core/run_state.h"
#include "platform/files.h"
#include "platform/path.h"
#include "platform/process.h"
#include "platform/signals.h"
// behind all others: Perl's macros
#include "perl/script_call.h"

EXTERN_C void boot_DynaLoader(pTHX_ CV* cv);

namespace quelmo {
namespace {

struct Host {
  PerlInterpreter* perl = nullptr;  // the one live interpreter
  bool perl_enabled = true;         // false once an interpreter couldn't be made
  bool perl_healthy = true;         // false once a script has failed
  bool perl_begun = false;          // Perl's part of the process is set up
  bool stopped = false;             // the orderly stop came inside a script
  int signals_settled = 0;          // signals that the stop has dealt with
  std::string script_file;          // host path; the interpreter keeps a pointer to it
  char no_name[1] = "";
  char* arguments[3] = {};
  std::optional<ProcessState> before;  // the process as the script found it
};
Host host;

// --- calls into Perl: plain data only, as the script may leave by a jump ---

struct Call {
  const char* sub;
  const std::vector<std::string>* arguments;
  int jump;   // how it came back: 0 returned, 2 exit
  bool exit;  // by the script's own `exit`
  int exit_code;
  SV* error;  // text of a true $@, null if it is false; the caller's to free
};

void call_body(pTHX_ Call* call) {
  dSP;
  ENTER;
  SAVETMPS;
  PUSHMARK(SP);
  for (size_t i = 0; i < call->arguments->size(); i++) {
    const std::string& word = (*call->arguments)[i];
    mXPUSHp(word.data(), word.size());
  }
  PUTBACK;
  I32 results = call_pv(call->sub, G_EVAL | G_SCALAR);
  SPAGAIN;
  SP -= results;
  PUTBACK;
  // The descriptors are about to be put back: what stands in buffers belongs to the script's own.
  PerlIO_flush(nullptr);
  // An object in $@ may run code; that must not find itself in there.
  SV* error = sv_mortalcopy(ERRSV);
  CLEAR_ERRSV();
  if (SvTRUE(error)) {
    STRLEN size;
    const char* text = SvPV(error, size);
    call->error = newSVpvn_flags(text, size, SvUTF8(error) ? SVf_UTF8 : 0);
  }
  FREETMPS;
  LEAVE;
}

// Calls a sub of the script behind a jump level of its own.
void call_guarded(pTHX_ Call* call) {
  const I32 scope = PL_scopestack_ix;
  dJMPENV;
  JMPENV_PUSH(call->jump);
  if (call->jump == 0) {
    call_body(aTHX_ call);
  } else {
    while (PL_scopestack_ix > scope) LEAVE;
    FREETMPS;
    call->exit = (PL_exit_flags & PERL_EXIT_EXPECTED) != 0;
    call->exit_code = STATUS_EXIT;
  }
  JMPENV_POP;
}

// END blocks and destructors of objects run in here; one of them may exit. Then the interpreter can't be
// freed.
bool destruct_guarded(pTHX) {
  int jump = 0;
  dJMPENV;
  JMPENV_PUSH(jump);
  if (jump == 0) perl_destruct(aTHX);
  JMPENV_POP;
  return jump == 0;
}

// --- signals ---

// Perl calls this between two operations when a handler has set its attention flag.
void signal_hook(pTHX) {
  PL_sig_pending = 0;
  if (noted_signal() != 0 && signal_count() != host.signals_settled) {
    // Everything is saved: what the script still does at its end may take no longer.
    if (run.ending) leave_process(1);
    if (!function_at_work()) stop_in_script();
    my_exit(1);
  }
  if (PL_psig_pend != nullptr) Perl_despatch_signals(aTHX);
}

// What stands in %SIG for the signals that stop the run, so that a handler that a script sets for a while
// gives way to the stop again and not to the system's default.
void stop_handler(pTHX_ CV*) {
  dXSARGS;
  PERL_UNUSED_VAR(ax);
  PERL_UNUSED_VAR(items);
  if (!run.ending) stop_in_script();
  my_exit(1);
}

void fill_sig(pTHX) {
  CV* handler = newXS(nullptr, stop_handler, __FILE__);
  HV* sig = get_hv("SIG", GV_ADD);
  for (const char* name : {"INT", "TERM", "HUP"}) {
    SV** slot = hv_fetch(sig, name, static_cast<I32>(std::strlen(name)), 1);
    sv_setsv_mg(*slot, sv_2mortal(newRV_inc(reinterpret_cast<SV*>(handler))));
  }
  SvREFCNT_dec(reinterpret_cast<SV*>(handler));
  // Perl has put its handlers in the place of ours, which also serve between two scripts.
  catch_stop_signals();
}

// --- life of an interpreter ---

void xs_init(pTHX) {
  newXS("DynaLoader::boot_DynaLoader", boot_DynaLoader, __FILE__);
  define_script_functions(aTHX);
  fill_sig(aTHX);
}

void begin_perl() {
  if (host.perl_begun) return;
  host.perl_begun = true;
  int count = 1;
  char* words[] = {host.no_name, nullptr};
  char** argv = words;
  char** env = environ;
  PERL_SYS_INIT3(&count, &argv, &env);
}

void make_interpreter() {
  begin_perl();
  PerlInterpreter* my_perl = perl_alloc();
  if (my_perl == nullptr) return;
  host.perl = my_perl;
  PERL_SET_CONTEXT(my_perl);
  perl_construct(my_perl);
  PL_perl_destruct_level = 1;
  PL_exit_flags |= PERL_EXIT_DESTRUCT_END;
  PL_origalen = 1;
  PL_signalhook = signal_hook;
  set_attention_flag(&PL_sig_pending);
}

void destroy_interpreter() {
  if (host.perl == nullptr) return;
  PerlInterpreter* my_perl = host.perl;
  // Perl's own signal handlers must not outlive it, and its END blocks may set new ones. The descriptors stay
  // until its file handles are closed.
  if (host.before) host.before->restore_signals();
  bool whole = destruct_guarded(aTHX);
  set_attention_flag(nullptr);
  if (host.before) host.before->restore();
  host.before.reset();
  if (whole) perl_free(my_perl);
  host.perl = nullptr;
  set_time_zone();
  std::setlocale(LC_ALL, "C");
}

// A child that the script forked off, and that has come back out of the script, ends here.
void end_child(int code) {
  if (in_first_process()) return;
  run.ending = true;
  set_attention_flag(nullptr);
  PerlInterpreter* my_perl = host.perl;
  destruct_guarded(aTHX);
  leave_process(code);
}

// Where the stderr of scripts goes.
const char* stderr_file() {
  const char* file = std::getenv("QUELMO_STDERR");
  return file != nullptr ? file : "";
}

// The result is `ok` if the interpreter stands with the script compiled.
ScriptResult start_perl(const std::string& path) {
  Fd readable = open_file(path, Open::read);
  if (!readable) {
    std::string reason = system_error(errno);
    log_line(0, "Can't read %s: %s, perl filtering disabled", path.c_str(), reason.c_str());
    host.perl_enabled = false;
    return {ScriptEnd::failed, 0};
  }
  readable.reset();
  host.before.emplace();
  host.script_file = disk_path(path);
  make_interpreter();
  if (host.perl == nullptr) {
    host.perl_enabled = false;
    return {ScriptEnd::failed, 0};
  }
  PerlInterpreter* my_perl = host.perl;
  host.arguments[0] = host.no_name;
  host.arguments[1] = host.script_file.data();
  int status = 0;
  {
    HiddenStderr hidden(stderr_file());
    status = perl_parse(my_perl, xs_init, 2, host.arguments, nullptr);
  }
  bool exited = (PL_exit_flags & PERL_EXIT_EXPECTED) != 0;
  end_child(status);
  if (host.stopped || exited) {
    int code = STATUS_EXIT;
    destroy_interpreter();
    return {host.stopped ? ScriptEnd::stopped : ScriptEnd::exited, code};
  }
  if (status != 0) {
    log_line(0, "Can't parse %s, perl filtering disabled", path.c_str());
    destroy_interpreter();
    host.perl_enabled = false;
    return {ScriptEnd::failed, 0};
  }
  return {ScriptEnd::ok, 0};
}

/// `route` for `c:\ftn\route.pl`: an extension of two characters goes.
std::string sub_name(std::string_view path) {
  constexpr size_t extension = 3;
  std::string_view name = file_part(path);
  if (name.size() >= extension && name[name.size() - extension] == '.') name.remove_suffix(extension);
  return "main::" + std::string(name);
}

std::vector<std::string> split_arguments(const std::string* args) {
  std::vector<std::string> words;
  if (args == nullptr) return words;
  size_t at = 0;
  while ((at = args->find_first_not_of(',', at)) != std::string::npos) {
    size_t end = std::min(args->find(',', at), args->size());
    words.push_back(args->substr(at, end - at));
    at = end;
  }
  return words;
}

// Dates read the same everywhere, and texts are bytes of 8-bit code pages, for regular expressions too. The
// locale is Perl's own one, not that of setlocale.
void plain_locale() {
  Perl_setlocale(LC_TIME, "C");
  Perl_setlocale(LC_CTYPE, "C");
}

// Calls a sub; `error` takes the text of $@.
ScriptResult call_sub(const std::string& sub, const std::vector<std::string>& arguments, std::string& error) {
  PerlInterpreter* my_perl = host.perl;
  Call call = {.sub = sub.c_str(),
               .arguments = &arguments,
               .jump = 0,
               .exit = false,
               .exit_code = 0,
               .error = nullptr};
  call_guarded(aTHX_ & call);
  constexpr int died = 255;
  end_child(call.exit ? call.exit_code : (call.error != nullptr ? died : 0));
  if (call.error != nullptr) {
    bool wide = false;
    error = plain_text(aTHX_ call.error, wide);
    SvREFCNT_dec(call.error);
    return {ScriptEnd::failed, 0};
  }
  if (host.stopped) return {ScriptEnd::stopped, 1};
  if (call.exit) return {ScriptEnd::exited, call.exit_code};
  return {call.jump == 0 ? ScriptEnd::ok : ScriptEnd::failed, 0};
}

}  // namespace

void stop_in_script() {
  host.stopped = true;
  host.signals_settled = signal_count();
  orderly_stop();
}

ScriptResult stop_perl() {
  if (host.perl == nullptr) return {};
  if (run.ending) host.signals_settled = signal_count();
  PerlInterpreter* my_perl = host.perl;
  PL_exit_flags &= static_cast<U8>(~PERL_EXIT_EXPECTED);
  set_attention_flag(&PL_sig_pending);
  std::string error;
  ScriptResult result = call_sub("main::quelmo_exit", {}, error);
  destroy_interpreter();
  if (result.end == ScriptEnd::failed) result = {};  // there needn't be such a sub
  return result;
}

ScriptResult run_script(const std::string& path, const std::string* args) {
  const ScriptResult failed = {ScriptEnd::failed, 0};
  if (host.perl_enabled && host.perl == nullptr) {
    ScriptResult started = start_perl(path);
    if (started.end != ScriptEnd::ok) return started;
  }
  if (host.perl == nullptr || !host.perl_healthy) return failed;
  plain_locale();

  std::string error;
  ScriptResult result;
  {
    HiddenStderr hidden(stderr_file());
    result = call_sub(sub_name(path), split_arguments(args), error);
  }
  if (result.end == ScriptEnd::ok || result.end == ScriptEnd::exited) {
    ScriptResult last = stop_perl();
    return last.end == ScriptEnd::ok ? result : last;
  }
  if (host.before) host.before->restore();
  set_attention_flag(nullptr);
  if (result.end == ScriptEnd::failed) {
    log_line(0, "Perl filter eval error: %s\n", error.c_str());
    host.perl_healthy = false;
  }
  return result;
}

void finish_perl() {
  if (!host.perl_begun) return;
  PERL_SYS_TERM();
  host.perl_begun = false;
}

}  // namespace quelmo
