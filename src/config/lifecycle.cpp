#include "config/lifecycle.h"

#include <cstdlib>
#include <ctime>
#include <exception>
#include <optional>

#include "archive/arc_cache.h"
#include "bases/dates.h"
#include "bases/highwater.h"
#include "config/areas.h"
#include "config/dupe_store.h"
#include "config/global_vars.h"
#include "config/keywords.h"
#include "config/packers.h"
#include "config/reader.h"
#include "config/tags.h"
#include "config/time_stamps.h"
#include "core/console.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/recoding.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/scan.h"
#include "message/write.h"
#include "nodelist/lookup.h"
#include "outbound/scratch.h"
#include "platform/files.h"
#include "platform/path.h"
#include "platform/process.h"
#include "platform/signals.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

/// The directory of the program if it was called by a path of the DOS form; nothing if the path is too long
/// to be kept.
std::string_view program_directory(std::string_view program) {
  size_t at = program.rfind('\\');
  if (at >= path_limit) return {};  // too far behind, or nowhere
  return program.substr(0, at + 1);
}

void find_home(std::string_view program) {
  run.QuelmoPath.clear();
  if (const char* value = std::getenv("QUELMO"); value != nullptr && *value != '\0') {
    std::string dir = std::string(value).substr(0, path_limit);
    if (check_path(dir) && dir.size() <= path_limit) {
      run.QuelmoPath = dir;
    } else {
      print_line("incorrect path in QUELMO variable `%s', \nassuming the current dir\n", dir.c_str());
    }
  }
  if (run.QuelmoPath.empty()) run.QuelmoPath = program_directory(program);
}

void createLockFile() {
  run.lock_fd = open_file(run.lock_name, Open::create_new, 0600);
  if (!run.lock_fd) stop_run("\acreateLockFile: cannot create lock file \"%s\"\n", run.lock_name.c_str());
  run.lock_made = disk_path(run.lock_name);
  write_all(run.lock_fd, format_text("%u\n", process_id()));
}

/// Removes the lock file that this run made. One that has come in its place, because ours looked forgotten,
/// belongs to another run.
void remove_lock() {
  if (!run.lock_fd) return;
  std::optional<FileInfo> ours = file_info(run.lock_fd);
  std::optional<FileInfo> there = file_info(run.lock_made);
  run.lock_fd.reset();
  if (ours && there && same_file(*ours, *there)) remove_file(run.lock_made);
  run.lock_made.clear();
}

void free_lists() {
  areas = AreaLists{};
  blocks = DataBlocks{};
  packers.clear();
  free_tags();
  free_ts_list();
  free_highwater();
  free_scratch_names();
  free_arc_cache();
  free_global_vars();
  free_nodelists();
}

template <class Step>
bool guarded(Step step) {
  try {
    step();
    return true;
  } catch (const Stop&) {
    return false;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

void check_lock() {
  constexpr long forgotten_minutes = 180;
  if (file_exists(run.lock_name)) {
    std::optional<FileInfo> info = file_info(run.lock_name);
    long age = info ? static_cast<long>(std::time(nullptr) - info->mtime) / 60 : 0;
    if (age < forgotten_minutes) {
      print_line("lock file found! exit...\n");
      throw Stop();
    }
    remove_file(run.lock_name);
  }
  createLockFile();
}

void init(std::string_view config_name, std::string_view program) {
  find_home(program);
  set_time_zone();
  run.start_time = std::time(nullptr);
  install_signal_handlers(orderly_stop);
  reset_globals();
  load_configuration(config_name);
}

void load_configuration(std::string_view name) {
  set_defaults();
  log_line(4, "QuelmoPath: `%s'\n", run.QuelmoPath.c_str());
  read_config(run.QuelmoPath, name);
  check_signals();
  if (run.log_name.empty()) run.log_name = run.QuelmoPath.str() + "quelmo.log";
  check_lock();
  write_log_header();
  log_line(1, "Configuration read\n");
  init_recoding();
}

bool save_and_free() {
  bool done = guarded(write_back);
  done = guarded(reset_globals) && done;
  done = guarded(flush_db) && done;
  done = guarded(free_lists) && done;
  done = guarded(write_log_footer) && done;
  return guarded(remove_lock) && done;
}

namespace {

// True if the run's end begins here: in the process of the run, and once.
bool begin_ending() {
  if (!in_first_process()) leave_process(1);
  if (run.ending) return false;
  run.ending = true;
  return true;
}

bool clean_up() {
  guarded([] { log_line(2, "doing cleanup...\n"); });
  return save_and_free();
}

}  // namespace

bool do_cleanup() {
  return begin_ending() ? clean_up() : true;
}

void orderly_stop() {
  if (!begin_ending()) return;
  guarded([] { log_line(0, "program aborted \n"); });
  clean_up();
}

}  // namespace quelmo
