#include <getopt.h>
#include <regex.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "config/lifecycle.h"
#include "core/console.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "perl/interpreter.h"
#include "platform/files.h"
#include "platform/path.h"
#include "platform/process.h"

namespace {

using namespace quelmo;

constexpr char short_options[] = "?1:2:3:4:5:6:7:8:9:bCc:d:ehil:rvp";

constexpr option long_options[] = {
    {"ignore-bsy", no_argument, nullptr, 'b'},     {"chat-off", no_argument, nullptr, 'C'},
    {"config", required_argument, nullptr, 'c'},   {"debug", required_argument, nullptr, 'd'},
    {"touch-echomail", no_argument, nullptr, 'e'}, {"help", no_argument, nullptr, 'h'},
    {"icase", no_argument, nullptr, 'i'},          {"logfile", required_argument, nullptr, 'l'},
    {"regex", no_argument, nullptr, 'r'},          {"version", no_argument, nullptr, 'v'},
    {"perl", no_argument, nullptr, 'p'},           {nullptr, 0, nullptr, 0},
};

constexpr char usage[] =
    "Usage: quelmo [OPTION]... [SCRIPT]...\n \n"
    "\t-b, --ignore-bsy      ignore .bsy semaphore\n"
    "\t-C, --chat-off        suppress all output to screen\n"
    "\t-c, --config [name]   set alternate config name [name]\n"
    "\t-d, --debug  [level]  set debug level [level]\n"
    "\t-e, --touch-echomail  always add via to all unseen messages\n"
    "\t-h, --help            show this help\n"
    "\t-i, --icase           ignore case in regex search\n"
    "\t-l, --logfile         set log file name\n"
    "\t-r, --regex           turn regex support on\n"
    "\t-v, --version         program version\n"
    "\t-p, --perl            compilation perl version\n\n"
    "\t-[n] [arg1,arg2,...]  n=1...9\n        comma-separated list of arguments to n-th script\n\n";

// The version that scripts are written for.
constexpr char perl_text[] = "\nCompilation with Perl - v5.6.0 built for MSWin32-x86\n\n";

struct Options {
  std::string config_name = default_config_name;
  int debug_level = 0;
  bool use_regexp = false;
  bool icase = false;
  bool ignore_bsy = false;
  bool touch_echomail = false;
  bool chat_off = false;
  std::array<std::optional<std::string>, 9> script_args;
  std::vector<std::string> scripts;
  bool text_only = false;  ///< an option has printed its text: nothing more is to be done
};

void print_banner() {
  print_line("\n%s %s %s\n\n", program_name, version_string, "");
}

// Applies an option; true if it only prints something.
bool take_option(Options& options, int letter, const char* value) {
  switch (letter) {
    case 'b':
      options.ignore_bsy = true;
      return false;
    case 'C':
      options.chat_off = true;
      return false;
    case 'c':
      options.config_name = value;
      return false;
    case 'd':
      options.debug_level = to_int(value);
      return false;
    case 'e':
      options.touch_echomail = true;
      return false;
    case 'i':
      options.icase = true;
      return false;
    case 'l':
      if (!run.log_name.empty()) return false;
      run.log_name = value;
      write_log_header();
      return false;
    case 'r':
      options.use_regexp = true;
      return false;
    case 'v':
      print_banner();
      return true;
    case 'p':
      print_line("%s", perl_text);
      return true;
    default:
      if (letter >= '1' && letter <= '9') {
        options.script_args[static_cast<size_t>(letter - '1')] = value;
        return false;
      }
      print_line("%s", usage);
      return true;
  }
}

Options read_options(int argc, char** argv) {
  Options options;
  int letter;
  while ((letter = ::getopt_long(argc, argv, short_options, long_options, nullptr)) != -1) {
    options.text_only = take_option(options, letter, optarg);
    if (options.text_only) return options;
  }
  for (int i = optind; i < argc; i++) options.scripts.emplace_back(argv[i]);
  return options;
}

// The command line overrules the configuration.
void apply_options(const Options& options) {
  if (options.debug_level != 0) config.debug_level = options.debug_level;
  if (options.use_regexp) config.use_regexp = true;
  if (options.icase) config.rx_cflags = REG_ICASE;
  if (options.ignore_bsy) config.ignore_bsy = true;
  if (options.touch_echomail) config.touch_echomail = true;
  if (options.chat_off) config.chat = false;
}

std::string script_path(const std::string& operand) {
  std::string path = is_absolute(operand) ? operand : run.QuelmoPath.str() + operand;
  if (path.find('.') == std::string::npos) path += ".pl";
  return path;
}

// Runs the n-th script, counting from 0.
ScriptResult run_operand(const Options& options, size_t n) {
  std::string path = script_path(options.scripts[n]);
  if (!file_info(path)) {
    report_logged("script not found: %s\n", path.c_str());
    return {};
  }
  std::string message = format_text("Executing script: %s\n", path.c_str());
  log_text(0, message);
  print_progress("\n\n%s", message.c_str());
  const std::string* args = nullptr;
  if (n < options.script_args.size() && options.script_args[n]) args = &*options.script_args[n];
  ScriptResult result = run_script(path, args);
  if (result.end == ScriptEnd::failed) {
    print_line("script execution failed: `%s'\n", path.c_str());
  }
  return result;
}

// The run between start-up and clean-up. The result is how its last script ended.
ScriptResult run_scripts(const Options& options) {
  if (options.scripts.empty()) write_stderr("nothing to do\n");
  for (size_t n = 0; n < options.scripts.size(); n++) {
    check_signals();
    ScriptResult result = run_operand(options, n);
    if (result.end == ScriptEnd::exited || result.end == ScriptEnd::stopped) return result;
  }
  check_signals();
  return {};
}

int run_all(const Options& options, const char* program) {
  init(options.config_name, program);
  apply_options(options);
  ScriptResult result = run_scripts(options);
  if (result.end == ScriptEnd::stopped) {
    stop_perl();
    return 1;
  }
  int code = do_cleanup() ? result.exit_code : 1;
  print_line("\n");
  ScriptResult last = stop_perl();
  return last.end == ScriptEnd::exited ? last.exit_code : code;
}

int stop_all() {
  orderly_stop();
  stop_perl();
  return 1;
}

// Memory that the orderly stop can work with when there is none left.
std::vector<char> reserve(1 << 20);

void release_reserve() {
  std::vector<char>().swap(reserve);
  throw std::bad_alloc();
}

}  // namespace

int main(int argc, char** argv) {
  begin_process();
  set_start_directory();
  if (argc < 2) {
    print_banner();
    print_line("%s", usage);
    return 0;
  }
  Options options = read_options(argc, argv);
  if (options.text_only) return 0;
  std::set_new_handler(release_reserve);
  int code = 1;
  try {
    code = run_all(options, argv[0]);
  } catch (const Stop&) {
    code = stop_all();
  } catch (const std::exception&) {
    code = stop_all();
  }
  finish_perl();
  return code;
}
