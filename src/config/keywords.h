// The keywords of the configuration: one table, one setter for each.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quelmo {

// Index in the table.
enum KeywordId : int {
  kw_mainaddress = 0,
  kw_data,
  kw_end,
  kw_logfile,
  kw_templatepath,
  kw_timezone,
  kw_sharing,
  kw_debug,
  kw_fidoarea,
  kw_binkarea,
  kw_squisharea,
  kw_textarea,
  kw_pktarea,
  kw_jamarea,
  kw_chat,
  kw_ignorebsy,
  kw_flagdir,
  kw_touchechomail,
  kw_useregexp,
  kw_compressfile,
  kw_loginclude,
  kw_logexclude,
  kw_rxignorecase,
  kw_timestamppath,
  kw_dupebasepath,
  kw_dupesmaxopen,
  kw_dupesmaxmsg,
  kw_echoarea,
  kw_badarea,
  kw_lockfile,
  kw_intab,
  kw_outtab,
  keyword_count,
};

struct Keyword {
  KeywordId id;
  const char* name;
  /// Takes the value, trimmed, inner blanks and all. A wrong one stops the run. Null: no effect.
  void (*set)(std::string_view value, const std::string& prefix);
};

std::span<const Keyword> keywords();

/// Index of a keyword, ignoring case; -1 if there is no such word.
int keyword_id(std::string_view name);

/// Applies one keyword: 1, or 0 if it has no effect. `prefix` stands in front of messages.
int set_keyword(int index, std::string_view value, const std::string& prefix);
/// The same by name; 0 for an unknown word too.
int set_keyword_by_name(std::string_view name, std::string_view value, const std::string& prefix);

/// The values that hold before a configuration is read. LOCKFILE's stays as it is.
void set_defaults();

}  // namespace quelmo
