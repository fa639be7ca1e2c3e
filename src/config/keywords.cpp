#include "config/keywords.h"

#include <regex.h>

#include <iterator>
#include <optional>

#include "config/area_keywords.h"
#include "config/compress_config.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"
#include "platform/path.h"

namespace quelmo {
namespace {

[[noreturn]] void syntax_error(std::string_view value, const std::string& prefix) {
  stop_run("\a%s syntax: `%s'\n", prefix.c_str(), std::string(value).c_str());
}

struct Switch {
  const char* on;
  const char* off;
  const char* hint;  ///< behind the value in the message
};
constexpr Switch on_off = {.on = "ON", .off = "OFF", .hint = ""};
constexpr Switch on_off_required = {.on = "ON", .off = "OFF", .hint = " (On/Off required)"};
constexpr Switch yes_no = {.on = "YES", .off = "NO", .hint = ""};
constexpr Switch yes_no_required = {.on = "YES", .off = "NO", .hint = " (Yes/No required)"};

bool switch_value(const Switch& words, std::string_view value, const std::string& prefix) {
  if (equal_nocase(value, words.on)) return true;
  if (equal_nocase(value, words.off)) return false;
  stop_run("\a%s syntax: `%s'%s\n", prefix.c_str(), std::string(value).c_str(), words.hint);
}

/// `format` takes prefix and value.
void set_dir(FixedText<128>& field, const char* format, std::string_view value, const std::string& prefix) {
  std::optional<std::string> dir = find_dir(value);
  if (!dir) stop_run(format, prefix.c_str(), std::string(value).c_str());
  field = *dir;
}

std::string existing_file(const char* format, std::string_view value, const std::string& prefix) {
  if (value.size() > path_limit) syntax_error(value, prefix);
  std::optional<std::string> file = find_file(value);
  if (!file) {
    report_errno(value);
    stop_run(format, prefix.c_str(), std::string(value).c_str());
  }
  return *file;
}

void set_mainaddress(std::string_view value, const std::string& prefix) {
  constexpr size_t word_limit = 63;
  std::string_view rest = value;
  std::string_view word;
  next_word(rest, word);
  FtnAddr address;
  if (addr_parse(word.substr(0, word_limit), address) == 0) syntax_error(value, prefix);
  if (address.domain.empty() && next_word(rest, word)) address.domain = word.substr(0, word_limit);
  if (address.domain.empty()) stop_run("\ayou MUST specify domain for MainAddress\n");
  config.main_address = address;
}

void set_logfile(std::string_view value, const std::string&) {
  if (!run.log_name.empty()) write_log_footer();
  run.log_name = is_absolute(value) ? std::string(value) : run.QuelmoPath.str() + std::string(value);
}

void set_templatepath(std::string_view value, const std::string& prefix) {
  set_dir(config.template_path, "\a%s template path not found : `%s'\n", value, prefix);
}

void set_sharing(std::string_view value, const std::string& prefix) {
  config.sharing = switch_value(yes_no, value, prefix);
}

void set_debug(std::string_view value, const std::string&) {
  config.debug_level = to_int(value);
}

void set_chat(std::string_view value, const std::string& prefix) {
  config.chat = switch_value(on_off, value, prefix);
}

void set_ignorebsy(std::string_view value, const std::string& prefix) {
  config.ignore_bsy = switch_value(on_off_required, value, prefix);
}

void set_flagdir(std::string_view value, const std::string& prefix) {
  set_dir(config.flag_dir, "\a%s template path not found : `%s'\n", value, prefix);
}

void set_touchechomail(std::string_view value, const std::string& prefix) {
  config.touch_echomail = switch_value(yes_no_required, value, prefix);
}

void set_useregexp(std::string_view value, const std::string& prefix) {
  config.use_regexp = switch_value(yes_no_required, value, prefix);
}

LogPattern log_pattern(std::string_view value, int flags, const std::string& prefix) {
  LogPattern pattern;
  pattern.text = unquote(value);
  std::string error;
  if (config.use_regexp && !pattern.regex.compile(pattern.text, flags, error)) {
    stop_run_logged("%s regular expression syntax : `%s' (%s)", prefix.c_str(), std::string(value).c_str(),
                    error.c_str());
  }
  return pattern;
}

void set_compressfile(std::string_view value, const std::string& prefix) {
  std::string path = existing_file("\a%s can't find compress file : `%s'\n", value, prefix);
  if (!read_compress_cfg(path))
    stop_run("\a%s error processing compress file : `%s'\n", prefix.c_str(), path.c_str());
}

void set_loginclude(std::string_view value, const std::string& prefix) {
  config.log_include.push_back(log_pattern(value, config.rx_cflags, prefix));
}

// Excluding never ignores case: what hides a line names it exactly.
void set_logexclude(std::string_view value, const std::string& prefix) {
  config.log_exclude.push_back(log_pattern(value, 0, prefix));
}

void set_rxignorecase(std::string_view value, const std::string& prefix) {
  config.rx_cflags = switch_value(on_off_required, value, prefix) ? REG_ICASE : 0;
}

void set_timestamppath(std::string_view value, const std::string& prefix) {
  set_dir(config.timestamp_path, "\a%s timestamp path not found : `%s'\n", value, prefix);
}

void set_dupebasepath(std::string_view value, const std::string& prefix) {
  set_dir(config.dupebase_path, "\a%s path not found : `%s'\n", value, prefix);
}

void set_dupesmaxopen(std::string_view value, const std::string&) {
  if (int number = to_int(value)) config.dupes_max_open = number;
}

void set_dupesmaxmsg(std::string_view value, const std::string&) {
  if (int number = to_int(value)) config.dupes_max_msg = number;
}

void set_echoarea(std::string_view value, const std::string& prefix) {
  if (def_echo(value, false, prefix) == 0) stop_run("\a%s error defining echoarea\n", prefix.c_str());
}

void set_badarea(std::string_view value, const std::string& prefix) {
  if (def_echo(value, true, prefix) == 0) stop_run("\a%s error defining echoarea\n", prefix.c_str());
}

void set_lockfile(std::string_view value, const std::string& prefix) {
  constexpr size_t name_limit = 255;
  if (value.size() > name_limit) syntax_error(value, prefix);
  run.lock_name = value;
}

void set_intab(std::string_view value, const std::string& prefix) {
  config.intab_file = existing_file("\a%s can't find intab file : `%s'\n", value, prefix);
}

void set_outtab(std::string_view value, const std::string& prefix) {
  config.outtab_file = existing_file("\a%s can't find outtab file : `%s'\n", value, prefix);
}

constexpr Keyword table[] = {
    {kw_mainaddress, "MAINADDRESS", set_mainaddress},
    {kw_data, "DATA", nullptr},
    {kw_end, "#END#", nullptr},
    {kw_logfile, "LOGFILE", set_logfile},
    {kw_templatepath, "TEMPLATEPATH", set_templatepath},
    {kw_timezone, "TIMEZONE", nullptr},
    {kw_sharing, "SHARING", set_sharing},
    {kw_debug, "DEBUG", set_debug},
    {kw_fidoarea, "FIDOAREA", def_fido_area},
    {kw_binkarea, "BINKAREA", def_bink_area},
    {kw_squisharea, "SQUISHAREA", def_squish_area},
    {kw_textarea, "TEXTAREA", def_text_area},
    {kw_pktarea, "PKTAREA", def_pkt_area},
    {kw_jamarea, "JAMAREA", def_jam_area},
    {kw_chat, "CHAT", set_chat},
    {kw_ignorebsy, "IGNOREBSY", set_ignorebsy},
    {kw_flagdir, "FLAGDIR", set_flagdir},
    {kw_touchechomail, "TOUCHECHOMAIL", set_touchechomail},
    {kw_useregexp, "USEREGEXP", set_useregexp},
    {kw_compressfile, "COMPRESSFILE", set_compressfile},
    {kw_loginclude, "LOGINCLUDE", set_loginclude},
    {kw_logexclude, "LOGEXCLUDE", set_logexclude},
    {kw_rxignorecase, "RXIGNORECASE", set_rxignorecase},
    {kw_timestamppath, "TIMESTAMPPATH", set_timestamppath},
    {kw_dupebasepath, "DUPEBASEPATH", set_dupebasepath},
    {kw_dupesmaxopen, "DUPESMAXOPEN", set_dupesmaxopen},
    {kw_dupesmaxmsg, "DUPESMAXMSG", set_dupesmaxmsg},
    {kw_echoarea, "ECHOAREA", set_echoarea},
    {kw_badarea, "BADAREA", set_badarea},
    {kw_lockfile, "LOCKFILE", set_lockfile},
    {kw_intab, "INTAB", set_intab},
    {kw_outtab, "OUTTAB", set_outtab},
};

constexpr bool ids_in_order() {
  for (int i = 0; i < keyword_count; i++) {
    if (table[i].id != i) return false;
  }
  return true;
}
static_assert(std::size(table) == keyword_count && ids_in_order());

}  // namespace

std::span<const Keyword> keywords() {
  return table;
}

int keyword_id(std::string_view name) {
  for (const Keyword& keyword : table) {
    if (equal_nocase(name, keyword.name)) return keyword.id;
  }
  return -1;
}

int set_keyword(int index, std::string_view value, const std::string& prefix) {
  if (index < 0 || index >= keyword_count || table[index].set == nullptr) return 0;
  log_line(4, "parse config, got %s: `%s'\n", lower(table[index].name).c_str(), std::string(value).c_str());
  table[index].set(value, prefix);
  return 1;
}

int set_keyword_by_name(std::string_view name, std::string_view value, const std::string& prefix) {
  return set_keyword(keyword_id(name), value, prefix);
}

void set_defaults() {
  config = Config{};
  current.sq_errno = 0;
  current.jam_errno = 0;
}

}  // namespace quelmo
