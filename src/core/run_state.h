// The process-wide state of a run (`run`) and the values of the configuration's keywords (`config`). With the
// current area and message (message/current.h) and the lists of areas and data blocks this is all that
// outlives a function call.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "core/address.h"
#include "core/fixed_text.h"
#include "core/regex.h"
#include "platform/files.h"

namespace quelmo {

constexpr char program_name[] = "quelmo";
constexpr char version_string[] = "1.02/w32 19-01-01";

struct Run {
  FixedText<128> QuelmoPath;  ///< home directory: empty (the start directory) or with a closing separator
  std::time_t start_time = 0;
  std::string log_name;  ///< empty while no log is named
  std::string lock_name = "quelmo.bsy";
  std::string lock_made;  ///< name of the lock file that this run made; empty while it holds none
  Fd lock_fd;             ///< open while the run holds its lock; the log writes nothing without it
  uint32_t msgs_read = 0;
  uint32_t msgs_written = 0;
  std::string unpack_workdir;  ///< where Unpack has bundles unpacked; empty: beside each bundle
  std::string fbox_path;       ///< path of file boxes that a script has fixed; empty: none
  bool ending = false;         ///< the clean-up has begun: script functions do nothing from here on
};

/// An entry of LOGINCLUDE or LOGEXCLUDE: fits a text by its expression if it has one, else as a part of it.
struct LogPattern {
  std::string text;
  Regex regex;
};

struct Config {
  FtnAddr main_address;
  FixedText<128> template_path;
  FixedText<128> flag_dir;
  FixedText<128> timestamp_path;
  FixedText<128> dupebase_path;
  std::string intab_file;   ///< empty if INTAB wasn't given
  std::string outtab_file;  ///< empty if OUTTAB wasn't given
  std::vector<LogPattern> log_include;
  std::vector<LogPattern> log_exclude;
  int debug_level = 0;
  bool chat = true;  ///< progress lines on stdout
  bool sharing = false;
  bool ignore_bsy = false;
  bool touch_echomail = true;
  bool use_regexp = false;
  int rx_cflags = 0;  ///< 0 or REG_ICASE
  int dupes_max_open = 15;
  int dupes_max_msg = 100;
  bool bad_area_defined = false;
};

extern Run run;
extern Config config;

}  // namespace quelmo
