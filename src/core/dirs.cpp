#include "core/dirs.h"

#include <cerrno>

#include "core/run_state.h"
#include "core/stop.h"
#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {

bool check_path(std::string& dir) {
  if (dir.empty()) return true;
  std::string bare = dir;
  char closing = '\0';
  if (bare.size() > 1 && is_separator(bare.back())) {
    closing = bare.back();
    bare.pop_back();
  }
  if (closing == '\0') closing = own_separator(bare);
  if (bare.back() == ':') bare += closing;
  if (!is_enterable_dir(bare)) return false;
  if (!is_separator(bare.back())) bare += closing;
  if (bare[0] == '.' && is_separator(bare[1])) bare.erase(0, 2);
  dir = std::move(bare);
  return true;
}

std::optional<std::string> home_path(std::string_view path) {
  std::string joined = is_absolute(path) ? std::string() : run.QuelmoPath.str();
  joined += path;
  if (joined.size() > path_limit) return std::nullopt;
  return joined;
}

namespace {

bool usable_dir(std::string& dir) {
  return check_path(dir) && dir.size() <= path_limit;
}

}  // namespace

std::optional<std::string> find_dir(std::string_view path) {
  std::optional<std::string> joined = home_path(path);
  if (joined && usable_dir(*joined)) return joined;
  std::string alone(path);
  if (alone.size() <= path_limit && usable_dir(alone)) return alone;
  return std::nullopt;
}

std::optional<std::string> find_file(std::string_view path) {
  std::optional<std::string> joined = home_path(path);
  if (joined && file_exists(*joined)) return joined;
  if (path.size() <= path_limit && file_exists(path)) return std::string(path);
  return std::nullopt;
}

void fix_path(std::string_view dir) {
  while (dir.size() > 1 && is_separator(dir.back())) dir.remove_suffix(1);
  std::optional<FileInfo> info = file_info(dir);
  if (info && info->is_directory) return;
  if (info) remove_file(dir);
  if (make_directory(dir)) return;
  std::string name(dir);
  report_errno(name);
  stop_run_logged("fix_path: error making dir: `%s'\n", name.c_str());
}

}  // namespace quelmo
