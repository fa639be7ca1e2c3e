#include "core/script_call.h"

#include <cstdio>
#include <cstring>
#include <exception>

#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "perl/functions.h"
#include "perl/interpreter.h"
#include "platform/process.h"
#include "platform/signals.h"
// behind all others: Perl's macros
#include "perl/script_call.h"

// A call has two halves. The first takes the arguments into plain data; it may run code of the script (tied
// and overloaded values), which may leave by a jump over our frames, so nothing in it has a destructor. The
// second is C++: no Perl code runs in it, exceptions end in it, and what is to leave by a jump does so behind
// it.

namespace quelmo {
namespace {

struct Argument {
  const char* bytes;
  STRLEN size;
  bool utf8;
  AV* array;  // what the argument refers to; null if that is no array
};

enum class Result { undef, bytes, number, list, nothing };

// The data of a call; without destructor, and all that it points to belongs to Perl's temporaries.
struct Frame {
  PerlInterpreter* perl;
  const char* label;
  Argument* arguments;
  int count;
  Result result;
  IV number;
  SV* bytes;
  AV* list;
};

Frame* at_work = nullptr;  // the call whose second half is at work

// Reading a tied or overloaded element made the script die or exit: passed on behind the second half.
struct ScriptLeft {
  bool by_exit;
};

// --- texts ---

void append_utf8(pTHX_ const char* bytes, STRLEN size, std::string& out, bool& wide) {
  constexpr UV widest_byte = 255;
  const U8* at = reinterpret_cast<const U8*>(bytes);
  const U8* end = at + size;
  while (at < end && *at != 0) {
    STRLEN length = 0;
    UV code = utf8n_to_uvchr(at, static_cast<STRLEN>(end - at), &length, UTF8_ALLOW_ANY);
    if (code > widest_byte) wide = true;
    out += code > widest_byte ? '?' : static_cast<char>(code);
    at += length == 0 || length > static_cast<STRLEN>(end - at) ? 1 : length;
  }
}

std::string to_bytes(pTHX_ const Argument& text, bool& wide) {
  std::string out;
  if (text.utf8) {
    append_utf8(aTHX_ text.bytes, text.size, out, wide);
  } else if (text.size != 0) {
    out.assign(text.bytes, ::strnlen(text.bytes, text.size));
  }
  return out;
}

// Takes the text of a scalar that is neither magical nor overloaded.
void take_plain(pTHX_ SV* scalar, Argument* out) {
  out->bytes = "";
  out->size = 0;
  out->utf8 = false;
  if (!SvOK(scalar)) return;
  out->bytes = SvPV_nomg_const(scalar, out->size);
  out->utf8 = SvUTF8(scalar) != 0;
}

bool runs_code(SV* scalar) {
  return SvGMAGICAL(scalar) || (SvROK(scalar) && SvAMAGIC(scalar));
}

// A copy without magic. An overloaded value becomes its string.
SV* plain_copy(pTHX_ SV* scalar) {
  SV* copy = sv_mortalcopy(scalar);
  if (!SvROK(copy) || !SvAMAGIC(copy)) return copy;
  STRLEN size;
  const char* bytes = SvPV_nomg_const(copy, size);
  return newSVpvn_flags(bytes, size, SVs_TEMP | (SvUTF8(copy) ? SVf_UTF8 : 0));
}

AV* referred_array(SV* scalar) {
  return SvROK(scalar) && SvTYPE(SvRV(scalar)) == SVt_PVAV ? reinterpret_cast<AV*>(SvRV(scalar)) : nullptr;
}

void log_wide(const char* label) {
  log_line(1, "%s wide character replaced by `?'\n", label);
}

// --- arrays ---

// Perl's side of reading an array whose elements run code: arguments are references to it and to the array
// that takes the texts.
void read_elements(pTHX_ CV*) {
  dXSARGS;
  if (items != 2) XSRETURN_EMPTY;
  AV* from = reinterpret_cast<AV*>(SvRV(ST(0)));
  AV* to = reinterpret_cast<AV*>(SvRV(ST(1)));
  for (SSize_t i = 0; i <= av_len(from); i++) {
    SV** element = av_fetch(from, i, 0);
    SV* text = element != nullptr ? plain_copy(aTHX_ * element) : nullptr;
    av_push(to, text != nullptr ? newSVsv(text) : newSVpvs(""));
  }
  XSRETURN_EMPTY;
}

// Reads the array behind an eval and a jump level of its own. The result is 0, 2 for an exit, or -1 for a
// death, whose reason is in $@ then.
int read_guarded(pTHX_ AV* from, AV* to) {
  int jump = 0;
  const I32 scope = PL_scopestack_ix;
  CV* reader = newXS(nullptr, read_elements, __FILE__);
  dJMPENV;
  JMPENV_PUSH(jump);
  if (jump == 0) {
    dSP;
    ENTER;
    SAVETMPS;
    PUSHMARK(SP);
    mXPUSHs(newRV_inc(reinterpret_cast<SV*>(from)));
    mXPUSHs(newRV_inc(reinterpret_cast<SV*>(to)));
    PUTBACK;
    call_sv(reinterpret_cast<SV*>(reader), G_EVAL | G_VOID | G_DISCARD);
    FREETMPS;
    LEAVE;
  } else {
    while (PL_scopestack_ix > scope) LEAVE;
  }
  JMPENV_POP;
  if (jump != 0) return jump;
  SvREFCNT_dec(reinterpret_cast<SV*>(reader));
  return SvOK(ERRSV) && (!SvPOK(ERRSV) || SvCUR(ERRSV) != 0) ? -1 : 0;
}

// The code that is about to run may free what the arguments stand in.
void pin_arguments(pTHX_ Frame* frame) {
  for (int i = 0; i < frame->count; i++) {
    Argument& argument = frame->arguments[i];
    argument.bytes = SvPVX(newSVpvn_flags(argument.bytes, argument.size, SVs_TEMP));
    if (argument.array != nullptr) sv_2mortal(SvREFCNT_inc_simple_NN(reinterpret_cast<SV*>(argument.array)));
  }
}

bool array_runs_code(pTHX_ AV* array) {
  if (SvRMAGICAL(reinterpret_cast<SV*>(array))) return true;
  for (SSize_t i = 0; i <= AvFILLp(array); i++) {
    SV* element = AvARRAY(array)[i];
    if (element != nullptr && runs_code(element)) return true;
  }
  return false;
}

void read_array(pTHX_ AV* array, const char* label, std::vector<std::string>& elements) {
  elements.clear();
  if (array_runs_code(aTHX_ array)) {
    if (at_work != nullptr) pin_arguments(aTHX_ at_work);
    AV* plain = reinterpret_cast<AV*>(sv_2mortal(reinterpret_cast<SV*>(newAV())));
    int jump = read_guarded(aTHX_ array, plain);
    if (jump != 0) throw ScriptLeft{.by_exit = jump > 0};
    array = plain;
  }
  bool wide = false;
  elements.reserve(static_cast<size_t>(AvFILLp(array) + 1));
  for (SSize_t i = 0; i <= AvFILLp(array); i++) {
    SV* element = AvARRAY(array)[i];
    elements.push_back(element != nullptr ? plain_text(aTHX_ element, wide) : std::string());
  }
  if (wide) log_wide(label);
}

// --- the two halves of a call ---

// The first half. Anything may die in here.
void take_arguments(pTHX_ Frame* frame, I32 ax) {
  bool code = false;
  for (int i = 0; i < frame->count; i++) code = code || runs_code(ST(i));
  for (int i = 0; code && i < frame->count; i++) {
    // Code of one argument may free another: first all that run none are copied.
    if (!runs_code(ST(i))) ST(i) = sv_mortalcopy(ST(i));
  }
  for (int i = 0; i < frame->count; i++) {
    Argument* argument = frame->arguments + i;
    SV* scalar = ST(i);
    if (SvGMAGICAL(scalar)) scalar = ST(i) = sv_mortalcopy(scalar);
    argument->array = referred_array(scalar);
    if (runs_code(scalar)) {
      scalar = plain_copy(aTHX_ scalar);
      if (argument->array != nullptr) sv_2mortal(SvREFCNT_inc_simple_NN((SV*)argument->array));
      ST(i) = scalar;
    }
  }
  for (int i = 0; i < frame->count; i++) take_plain(aTHX_ ST(i), frame->arguments + i);
}

enum class Outcome { returned, stopped, died, exited };

// The second half.
Outcome run_function(const ScriptFunction& function, Frame* frame) {
  struct AtWork {
    explicit AtWork(Frame* frame) { at_work = frame; }
    ~AtWork() { at_work = nullptr; }
  };
  try {
    AtWork mark(frame);
    check_signals();
    if (frame->count < function.least || frame->count > function.most) {
      stop_run(function.count_message, function.label, frame->count);
    }
    ScriptCall call(function.label, frame->count, frame);
    function.run(call);
    return Outcome::returned;
  } catch (const ScriptLeft& left) {
    if (!left.by_exit) return Outcome::died;
    if (noted_signal() == 0) return Outcome::exited;
  } catch (const Stop&) {
  } catch (const std::exception&) {
    // Memory has run out.
  }
  stop_in_script();
  return Outcome::stopped;
}

SV* list_element(AV* list, SSize_t i) {
  return SvREFCNT_inc_simple_NN(AvARRAY(list)[i]);
}

// Puts the result in the place of the arguments.
void push_result(pTHX_ const Frame* frame, I32 ax) {
  SV** sp = PL_stack_base + ax - 1;
  switch (frame->result) {
    case Result::undef:
      PUSHs(&PL_sv_undef);
      break;
    case Result::bytes:
      PUSHs(frame->bytes);
      break;
    case Result::number: {
      dXSTARG;
      PUSHi(frame->number);
      break;
    }
    case Result::list:
      EXTEND(SP, AvFILLp(frame->list) + 1);
      for (SSize_t i = 0; i <= AvFILLp(frame->list); i++) PUSHs(sv_2mortal(list_element(frame->list, i)));
      break;
    case Result::nothing:
      break;
  }
  PUTBACK;
}

// All script functions come in here.
void door(pTHX_ CV* cv) {
  constexpr int few = 8;
  dXSARGS;
  EXTEND(SP, 1);
  if (run.ending) XSRETURN_UNDEF;
  const auto& function = *static_cast<const ScriptFunction*>(CvXSUBANY(cv).any_ptr);
  if (at_work != nullptr) croak("%s called from inside another script function", function.label);

  Argument some[few];
  Frame frame = {.perl = aTHX,
                 .label = function.label,
                 .arguments = some,
                 .count = static_cast<int>(items),
                 .result = Result::undef,
                 .number = 0,
                 .bytes = nullptr,
                 .list = nullptr};
  if (items > few) {
    SV* room = sv_2mortal(newSV(static_cast<STRLEN>(items) * sizeof(Argument)));
    frame.arguments = reinterpret_cast<Argument*>(SvPVX(room));
  }
  take_arguments(aTHX_ & frame, ax);

  switch (run_function(function, &frame)) {
    case Outcome::returned:
      break;
    case Outcome::stopped:
      my_exit(1);
    case Outcome::exited:
      my_exit(static_cast<U32>(STATUS_EXIT));
    case Outcome::died:
      croak(nullptr);
  }
  push_result(aTHX_ & frame, ax);
}

// A program in our place would leave the lock behind: only a forked child may become one.
void child_exec(pTHX_ CV*) {
  dXSARGS;
  if (in_first_process()) croak("exec would end the run without its clean-up: use system");
  if (items == 0) XSRETURN_NO;
  constexpr int added = 3;  // "sh -c", the closing null
  SV* room = sv_2mortal(newSV(static_cast<STRLEN>(items + added) * sizeof(char*)));
  char** words = reinterpret_cast<char**>(SvPVX(room));
  int count = 0;
  static char shell[] = "/bin/sh";
  static char command[] = "-c";
  if (items == 1) {
    words[count++] = shell;
    words[count++] = command;
  }
  for (I32 i = 0; i < items; i++) words[count++] = SvPV_nolen(ST(i));
  words[count] = nullptr;
  PERL_FLUSHALL_FOR_CHILD;
  PerlProc_execvp(words[0], words);
  XSRETURN_NO;
}

void override_exec(pTHX) {
  newXS("CORE::GLOBAL::exec", child_exec, __FILE__);
  GV* name = gv_fetchpv("CORE::GLOBAL::exec", GV_ADD, SVt_PVCV);
  GvIMPORTED_CV_on(name);
}

Frame* frame_of(void* frame) {
  return static_cast<Frame*>(frame);
}

}  // namespace

std::string plain_text(pTHX_ SV* scalar, bool& wide) {
  Argument text = {};
  take_plain(aTHX_ scalar, &text);
  return to_bytes(aTHX_ text, wide);
}

void define_script_functions(pTHX) {
  for (const ScriptFunction& function : script_functions()) {
    char name[64];
    std::snprintf(name, sizeof name, "main::%s", function.name);
    CV* cv = newXS(name, door, __FILE__);
    CvXSUBANY(cv).any_ptr = const_cast<ScriptFunction*>(&function);
  }
  override_exec(aTHX);
}

std::string ScriptCall::text(int i) const {
  Frame* frame = frame_of(frame_);
  if (i < 0 || i >= frame->count) return {};
  dTHXa(frame->perl);
  bool wide = false;
  std::string bytes = to_bytes(aTHX_ frame->arguments[i], wide);
  if (wide) log_wide(label_);
  return bytes;
}

bool ScriptCall::array(int i, std::vector<std::string>& elements) const {
  Frame* frame = frame_of(frame_);
  if (i < 0 || i >= frame->count || frame->arguments[i].array == nullptr) return false;
  dTHXa(frame->perl);
  read_array(aTHX_ frame->arguments[i].array, label_, elements);
  return true;
}

void ScriptCall::give(std::string_view bytes) {
  Frame* frame = frame_of(frame_);
  dTHXa(frame->perl);
  frame->bytes = newSVpvn_flags(bytes.data() != nullptr ? bytes.data() : "", bytes.size(), SVs_TEMP);
  frame->result = Result::bytes;
}

void ScriptCall::give_number(int64_t number) {
  frame_of(frame_)->number = number;
  frame_of(frame_)->result = Result::number;
}

void ScriptCall::give_list(const std::vector<std::string>& bytes) {
  Frame* frame = frame_of(frame_);
  frame->result = bytes.empty() ? Result::undef : Result::list;
  if (bytes.empty()) return;
  dTHXa(frame->perl);
  frame->list = reinterpret_cast<AV*>(sv_2mortal(reinterpret_cast<SV*>(newAV())));
  av_extend(frame->list, static_cast<SSize_t>(bytes.size()) - 1);
  for (const std::string& element : bytes) av_push(frame->list, newSVpvn(element.data(), element.size()));
}

void ScriptCall::give_nothing() {
  frame_of(frame_)->result = Result::nothing;
}

bool function_at_work() {
  return at_work != nullptr;
}

bool script_array(const std::string& name, std::vector<std::string>& elements) {
  elements.clear();
  if (at_work == nullptr) return false;
  dTHXa(at_work->perl);
  AV* array = get_av(name.c_str(), 0);
  if (array == nullptr) return false;
  read_array(aTHX_ array, at_work->label, elements);
  return true;
}

}  // namespace quelmo
