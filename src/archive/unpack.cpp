#include "archive/unpack.h"

#include <optional>
#include <string>
#include <vector>

#include "archive/archiver.h"
#include "archive/arcmail_names.h"
#include "core/console.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/macros.h"
#include "platform/directory.h"
#include "platform/files.h"
#include "platform/path.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

constexpr size_t most_sources = 20;

// A directory, behind the home directory if it isn't absolute, as it is written with its closing separator;
// nothing if there is none.
std::optional<std::string> existing_dir(std::string_view path) {
  std::optional<std::string> dir = home_path(path);
  if (!dir || !check_path(*dir)) return std::nullopt;
  return dir;
}

// The directories that an argument names, at most `most`.
std::vector<std::string> directories(const ScriptCall& call, int i, size_t most) {
  std::string argument = expanded_arg(call, i);
  std::string_view rest = argument;
  std::string_view word;
  if (next_word(rest, word) && abbreviates(unquote(word), "@path")) {
    std::string path(unquote(rest));
    log_line(4, "Unpack, 1) direct path: `%s'\n", path.c_str());
    if (path.empty()) stop_run("%s syntax: `%s'\n", call.label(), argument.c_str());
    std::optional<std::string> dir = existing_dir(path);
    if (!dir) stop_run("%s Path not found : `%s'", call.label(), path.c_str());
    return {*dir};
  }
  std::vector<std::string> found;
  const Block<PathEntry>* block = find_block(blocks.path, argument);
  if (block == nullptr) log_line(0, "%s Path not found : `%s'", call.label(), argument.c_str());
  for (const PathEntry& entry : block != nullptr ? block->entries : std::vector<PathEntry>()) {
    if (found.size() == most) break;
    if (std::optional<std::string> dir = existing_dir(entry.path)) {
      found.push_back(*dir);
    } else {
      log_line(0, "%s Path not found : `%s'", call.label(), entry.path.c_str());
    }
  }
  return found;
}

// Has the packer of `file` take its packets out into `workdir`; the bundle goes if it reports success.
void unpack_bundle(const std::string& file, const std::string& workdir) {
  const Packer* packer = detect_arctype(file);
  if (packer == nullptr) {
    log_line(0, "ufetch_arcer: couldn't detect archive type for `%s'\n", file.c_str());
    log_line(0, "Unpack: error fetching arcer for file `%s'\n", file.c_str());
    return;
  }
  log_line(4, "ufetch_arcer: `%s' is %s archive\n", file.c_str(), packer->name.c_str());
  if (!is_enterable_dir(workdir)) {
    log_line(0, "Unpack: can't enter work directory `%s', bundle `%s' stays\n", workdir.c_str(),
             file.c_str());
    return;
  }
  // The packer changes into the work directory, this process never does: names are host paths by then.
  const PackerCommand& command = packer->extract;
  bool told = names_directory(command);
  std::vector<std::string> arguments =
      fill_command(command, {.archive = disk_path(file), .files = "*.pkt", .directory = disk_path(workdir)});
  if (log_passes(4)) {
    log_line(4, "Unpack: executing: `%s %s'\n", command.program.c_str(), shown_words(arguments).c_str());
  }
  print_progress("Unpacking archive: %s into workdir: %s", file.c_str(), workdir.c_str());
  int code = shell_exec(command.program, arguments, told ? std::string() : workdir);
  if (code != 0) {
    log_line(0, "Unpacking archive: %s into workdir: %s - error: packer reported %d\n", file.c_str(),
             workdir.c_str(), code);
    return;
  }
  log_line(1, "Unpacking archive: %s into workdir: %s - ok\n", file.c_str(), workdir.c_str());
  if (!remove_file(file)) report_errno(file);
}

void unpack_directory(const std::string& dir, const char* label) {
  print_progress("\n\n");
  print_line("scanning %s\n", dir.c_str());
  if (!Directory().open(dir)) stop_run("%s can't open dir: `%s'\n", label, dir.c_str());
  for (const FoundFile& found : find_files(dir + "*")) {
    check_signals();
    if (found.size == 0 || !is_arcmail_name(found.name)) continue;
    unpack_bundle(dir + found.name, run.unpack_workdir.empty() ? dir : run.unpack_workdir);
  }
}

}  // namespace

void perl_Unpack(ScriptCall& call) {
  if (packers.empty()) stop_run("%s compress configuration not defined\n", call.label());
  std::vector<std::string> sources = directories(call, 0, most_sources);
  if (call.count() > 1) {
    std::vector<std::string> workdirs = directories(call, 1, 1);
    // Without the directory that was asked for nothing goes into another one.
    if (workdirs.empty()) return;
    run.unpack_workdir = workdirs.front();
  }
  for (const std::string& dir : sources) unpack_directory(dir, call.label());
}

}  // namespace quelmo
