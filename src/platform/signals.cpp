#include "platform/signals.h"

#include <unistd.h>

#include <csignal>
#include <initializer_list>

#include "platform/process.h"

namespace quelmo {
namespace {

volatile std::sig_atomic_t noted = 0;
volatile std::sig_atomic_t count = 0;
int* volatile attention = nullptr;
void (*abort_action)() = nullptr;

void note_signal(int number) {
  if (noted == 0) noted = number;
  count = count + 1;
  int* flag = attention;
  if (flag != nullptr) *flag = 1;
}

// Not SIG_IGN, which the programs that a script runs would inherit.
void pass_over(int) {}

void handle_abort(int) {
  auto action = abort_action;
  abort_action = nullptr;
  if (action != nullptr && in_first_process()) action();
  ::_exit(1);
}

void set_handler(int number, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  ::sigemptyset(&action.sa_mask);
  ::sigaction(number, &action, nullptr);
}

}  // namespace

void install_signal_handlers(void (*on_abort)()) {
  abort_action = on_abort;
  catch_stop_signals();
  set_handler(SIGABRT, handle_abort);
  // A file that may not grow any further is a failed write, and handled as one.
  set_handler(SIGXFSZ, pass_over);
  set_handler(SIGPIPE, pass_over);
}

void catch_stop_signals() {
  for (int number : {SIGINT, SIGTERM, SIGHUP}) set_handler(number, note_signal);
}

void request_stop() {
  note_signal(SIGTERM);
}

int noted_signal() {
  return noted;
}

int signal_count() {
  return count;
}

void set_attention_flag(int* flag) {
  attention = flag;
  if (flag != nullptr && noted != 0) *flag = 1;
}

}  // namespace quelmo
