// Signals that ask the run to stop. SIGINT, SIGTERM and SIGHUP are only noted; the stop is made at a safe
// point, by whoever looks at `noted_signal`. SIGABRT (the C library found the heap damaged, an assertion
// failed) gets one attempt at the orderly stop on the spot. SIGPIPE and SIGXFSZ are ignored: the write fails.
#pragma once

namespace quelmo {

/// `on_abort` runs in the handler of SIGABRT, at most once; the process ends with code 1 behind it.
void install_signal_handlers(void (*on_abort)());

/// Puts the handlers of SIGINT, SIGTERM and SIGHUP back.
void catch_stop_signals();

/// Asks for a stop as such a signal does.
void request_stop();

/// The signal that asks for a stop, 0 if none has come.
int noted_signal();

/// How many such signals have come so far.
int signal_count();

/// A flag that the handlers set to 1 beside noting the signal, so that an interpreter looks up from its work;
/// null takes it away. If a signal is noted already the flag is set at once.
void set_attention_flag(int* flag);

}  // namespace quelmo
