// The life of a run: start-up, the lock file, the clean-up, and the orderly stop that every fatal error ends
// in.
#pragma once

#include <string>
#include <string_view>

namespace quelmo {

/// The start-up: home directory, signal handlers, defaults, configuration, lock, log header. Stops the run on
/// an error of the configuration or a lock that somebody else holds.
void init(std::string_view config_name, std::string_view program);

constexpr char default_config_name[] = "quelmo.cfg";

/// Defaults, configuration, lock, log header, recoding tables: the part of the start-up that a reread repeats
/// behind `save_and_free`.
void load_configuration(std::string_view name);

/// Takes the run's lock: `run.lock_name` is made, in place of one that is 180 minutes old or more. A younger
/// one stops the run.
void check_lock();

/// Saves the message in memory if that is due, closes the area, frees all lists, writes the log's footer and
/// removes the lock. A step that fails doesn't keep the next from running; false if one did.
bool save_and_free();

/// The end of a run: from here on script functions do nothing. Then as `save_and_free`; true if that has been
/// done before.
bool do_cleanup();

/// "program aborted" in the log and the clean-up, once; nothing if a clean-up has begun already. A forked
/// child ends here.
void orderly_stop();

}  // namespace quelmo
