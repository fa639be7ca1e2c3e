#include "actions/attach.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/areas.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/macros.h"
#include "message/new_head.h"
#include "message/write.h"
#include "platform/files.h"
#include "platform/path.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

constexpr size_t subject_width = FixedText<72>::limit;

// The directories that a call names, each with its closing separator.
std::vector<std::string> directories(const std::string& argument, const char* label) {
  constexpr size_t word_width = 58;
  std::vector<std::string> paths;
  std::string_view rest = argument;
  std::string_view word;
  if (next_word(rest, word) && abbreviates(word, "@path")) {
    while (next_word(rest, word)) {
      std::string path(word.substr(0, word_width));
      log_line(4, "checkpath, got path directly: `%s'\n", path.c_str());
      if (check_path(path)) {
        paths.push_back(path);
      } else {
        log_line(4, "checkpath, path not found: `%s'\n", path.c_str());
      }
    }
    return paths;
  }
  const Block<PathEntry>* block = find_block(blocks.path, argument);
  if (block == nullptr) stop_run("\a%s block undefined : `%s'\n", label, argument.c_str());
  for (const PathEntry& entry : block->entries) paths.push_back(entry.path.str());
  return paths;
}

bool is_file(const std::string& path) {
  std::optional<FileInfo> info = file_info(path);
  return info && !info->is_directory;
}

// Looks for the file that a word names; the word becomes its full name if that fits a subject, and is left
// bare if no directory holds it.
bool find_attach(std::string& word, const std::vector<std::string>& paths) {
  std::string base(file_part(word));
  if (base.empty()) return false;  // a directory: there is nothing to look for, and no bare name
  for (const std::string& dir : paths) {
    std::string path = dir + base;
    log_line(4, "adjust_subj: looking for `%s'... ", path.c_str());
    if (is_file(path)) {
      log_line(4, " ok\n");
      if (path.size() <= subject_width) word = path;
      return true;
    }
    log_line(4, "not found\n");
    word = base;
  }
  return false;
}

// The words of a subject with the names that were found, spread over as many subjects as they need. False if
// a file wasn't found.
bool adjust_subj(std::string_view subject, const std::vector<std::string>& paths,
                 std::vector<std::string>& out) {
  bool all = true;
  std::string now;
  std::string_view rest = subject;
  std::string_view next;
  while (next_word(rest, next)) {
    std::string word(next);
    all = find_attach(word, paths) && all;
    if (!now.empty() && now.size() + word.size() + 1 <= subject_width) {
      now += ' ';
    } else if (!now.empty()) {
      out.push_back(now);
      now.clear();
    }
    now += word;
  }
  out.push_back(now);
  return all;
}

// Attaches like this message for the subjects that it has no room for.
void check_extra_mail(Msg msg, const std::vector<std::string>& subjects) {
  FtnAddr aka;
  match_aka(area_system(CurMsg.tag), msg.to, aka);
  std::string tag = CurMsg.tag.str();
  std::string shown = upper(tag);
  for (size_t i = 1; i < subjects.size(); i++) {
    msg.subject = subjects[i];
    LineList list = make_kludges(msg, false);
    add_via(list, aka);
    uint32_t n = add_msg(CurMsg.type, tag, msg, list);
    if (n == 0) {
      log_line(0, "CheckPath error: failed to create extra mail(s)\n");
      continue;
    }
    if (CurMsg.type == area_fido || CurMsg.type == area_squish)
      log_line(1, "   %u created in %s\n", n, shown.c_str());
    log_line(1, "   Extra mail created by CheckPath in area %s\n", shown.c_str());
    run.msgs_written++;
  }
}

}  // namespace

void perl_CheckPath(ScriptCall& call) {
  call.give_number(0);
  if (!message_in_memory(call.label())) return;
  Msg& hdr = current.hdr;
  if ((hdr.attr & attr_file) == 0) {
    log_line(4, "%s msg is not a fileattach, ignored\n", call.label());
    return;
  }
  if (is_echo_area(CurMsg.type, CurMsg.tag)) {
    log_line(3, "%s no CheckPath possible for echomail area\n", call.label());
    return;
  }
  if (hdr.subject.empty()) return;

  std::vector<std::string> subjects;
  bool all = adjust_subj(hdr.subject, directories(expanded_arg(call, 0), call.label()), subjects);
  if (subjects.size() > 1 || !equal_nocase(subjects[0], hdr.subject)) {
    log_message_once();
    log_line(1, "   CheckPath: subject changed");
    log_line(1, "   Old : `%s'\n", hdr.subject.c_str());
    log_line(1, "   New : `%s'\n", subjects[0].c_str());
    hdr.subject = subjects[0];
    hdr.intattr |= int_checkedpath | int_changed;
    check_extra_mail(hdr, subjects);
  }
  call.give_number(all ? 1 : 0);
}

}  // namespace quelmo
