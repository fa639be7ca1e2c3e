// The embedded Perl. A script is a file that defines a sub of the file's name; it gets an interpreter of its
// own, which dies with it. Of what stands outside of subs only compile-time code (`use`, BEGIN) runs.
#pragma once

#include <string>
#include <string_view>

namespace quelmo {

enum class ScriptEnd {
  ok,       ///< the sub returned
  failed,   ///< it couldn't be compiled or called, or died; the log says why
  exited,   ///< the script called `exit`, which ends the run in good order
  stopped,  ///< the orderly stop came in the middle of it and is done
};

struct ScriptResult {
  ScriptEnd end = ScriptEnd::ok;
  int exit_code = 0;  ///< of `exited`
};

/// Compiles the script and calls its sub with the arguments in `args`, separated by commas; null for none.
/// Then `quelmo_exit`, if the script defines it, and the interpreter goes; a script that failed or was
/// stopped keeps it for `stop_perl`. After one failure every later script fails unrun.
///
/// Descriptors 0 to 2, working directory, umask, environment, signal actions and alarm are put back behind
/// each script. Its stderr is dropped, or appended to the file named by QUELMO_STDERR; `-` leaves it alone.
ScriptResult run_script(const std::string& path, const std::string* args);

/// Ends an interpreter that a failed or stopped script left: `quelmo_exit`, then its destruction. Does
/// nothing if there is none.
ScriptResult stop_perl();

/// The last call of the process to this module.
void finish_perl();

/// The orderly stop, on the way out of a script. It leaves the script running: the caller must take Perl back
/// to the call at its top.
void stop_in_script();

}  // namespace quelmo
