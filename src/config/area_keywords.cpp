#include "config/area_keywords.h"

#include <optional>
#include <span>

#include "bases/jam_pack.h"
#include "bases/jam_records.h"
#include "bases/squish.h"
#include "config/areas.h"
#include "core/dirs.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/stop.h"
#include "core/text.h"
#include "platform/files.h"
#include "platform/path.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

// The first word of a definition. The home directory may be written as a dot.
std::string_view take_path(std::string_view& value) {
  std::string_view path;
  next_word(value, path);
  if (path == ".") return {};
  if (path.size() >= 2 && path[0] == '.' && is_separator(path[1])) path.remove_prefix(2);
  return path;
}

std::string found_dir(std::string_view path, const std::string& prefix) {
  std::optional<std::string> dir = find_dir(path);
  if (!dir) stop_run_logged("%s path not found: `%s'\n", prefix.c_str(), std::string(path).c_str());
  return *dir;
}

void take_tag(std::string_view& value, Area& area, const std::string& prefix) {
  std::string_view tag;
  if (!next_word(value, tag)) {
    stop_run_logged("%s incorrect area tag : `%s'", prefix.c_str(), std::string(tag).c_str());
  }
  area.tag = upper(tag);
}

/// The words behind tag and path of a fido, squish or JAM area.
void take_system_and_echomail(std::string_view value, Area& area, const std::string& prefix) {
  std::string_view word;
  if (!next_word(value, word)) return;
  word = word.substr(0, FixedText<20>::limit);
  if (find_block(blocks.system, word) == nullptr) {
    if (!equal_nocase(word, "echomail") || !value.empty()) {
      stop_run_logged("%s data system block undefined : `%s'", prefix.c_str(), std::string(word).c_str());
    }
    area.echomail = true;
    return;
  }
  area.system = word;
  if (!next_word(value, word)) return;
  if (!starts_nocase(word, "echomail")) {
    stop_run_logged("%s unknown argument : `%s'", prefix.c_str(), std::string(word).c_str());
  }
  area.echomail = true;
}

/// What squish and JAM areas differ in.
struct BaseKind {
  AreaType type;
  std::span<const char* const> extensions;  ///< of the files, which exist all together or not at all
  const char* missing_text;                 ///< when only some of them exist
  void (*create)(std::string_view path);    ///< makes an empty base
};
constexpr BaseKind squish_kind = {area_squish, squish_extensions, "squish area file not found",
                                  create_new_sqbase};
constexpr BaseKind jam_kind = {area_jam, jam_extensions, "JAM area file not found", create_new_jambase};

/// Base name of the area; `exists` tells whether its files do.
std::string base_name(const BaseKind& kind, std::string_view path, const std::string& prefix, bool& exists) {
  std::optional<std::string> base = home_path(path);
  if (!base) stop_run_logged("%s path not found: `%s'\n", prefix.c_str(), std::string(path).c_str());
  std::string missing;
  exists = false;
  for (const char* extension : kind.extensions) {
    std::string name = *base + extension;
    if (file_exists(name)) {
      exists = true;
    } else if (missing.empty()) {
      missing = name;
    }
  }
  if (exists && !missing.empty()) stop_run_logged("%s:`%s'\n", kind.missing_text, missing.c_str());
  return *base;
}

/// A base that doesn't exist is made once the whole line has been found good.
void def_base_area(const BaseKind& kind, std::string_view value, const std::string& prefix) {
  Area area;
  bool exists = false;
  area.type = kind.type;
  area.path = base_name(kind, take_path(value), prefix, exists);
  take_tag(value, area, prefix);
  take_system_and_echomail(value, area, prefix);
  if (!exists) kind.create(area.path);
  store_area(area);
}

bool name_block(FixedText<20>& field, bool exists, std::string_view word) {
  if (!field.empty() || !exists) return false;
  field = word;
  return true;
}

bool set_once(bool& field, std::string_view name, std::string_view word) {
  if (field || !equal_nocase(word, name)) return false;
  field = true;
  return true;
}

bool is_bink_word(Area& area, std::string_view word) {
  if (name_block(area.system, find_block(blocks.system, word) != nullptr, word)) return true;
  if (name_block(area.password, find_block(blocks.passwordaddress, word) != nullptr, word)) return true;
  if (set_once(area.no_main_zone, "NoMainZone", word)) return true;
  if (set_once(area.multi_domain, "MultiDomain", word)) return true;
  if (equal_nocase(word, "BrakeOutbound")) {
    area.outbound_kind = outbound_brake;
  } else if (equal_nocase(word, "Amiga4D")) {
    area.outbound_kind = outbound_amiga4d;
  } else {
    return false;
  }
  return true;
}

bool is_pkt_word(Area& area, std::string_view word) {
  if (name_block(area.system, find_block(blocks.system, word) != nullptr, word)) return true;
  if (name_block(area.password, find_block(blocks.passwordaddress, word) != nullptr, word)) return true;
  if (set_once(area.echomail, "echomail", word)) return true;
  if (name_block(area.pkt_length, find_block(blocks.pktlength, word) != nullptr, word)) return true;
  if (area.box_kind != box_none) return false;
  if (equal_nocase(word, "b-box")) area.box_kind = box_b;
  if (equal_nocase(word, "t-box")) area.box_kind = box_t;
  return area.box_kind != box_none;
}

void def_packet_area(AreaType type, bool (*accepts)(Area&, std::string_view), std::string_view value,
                     const std::string& prefix) {
  Area area;
  area.type = type;
  area.path = found_dir(take_path(value), prefix);
  take_tag(value, area, prefix);
  std::string_view word;
  while (next_word(value, word)) {
    word = word.substr(0, FixedText<20>::limit);
    if (!accepts(area, word)) {
      stop_run_logged("%s data not found or syntax error: `%s'", prefix.c_str(), std::string(word).c_str());
    }
  }
  store_area(area);
}

}  // namespace

void def_fido_area(std::string_view value, const std::string& prefix) {
  Area area;
  area.type = area_fido;
  area.path = found_dir(take_path(value), prefix);
  take_tag(value, area, prefix);
  take_system_and_echomail(value, area, prefix);
  store_area(area);
}

void def_squish_area(std::string_view value, const std::string& prefix) {
  def_base_area(squish_kind, value, prefix);
}

void def_jam_area(std::string_view value, const std::string& prefix) {
  def_base_area(jam_kind, value, prefix);
}

void def_bink_area(std::string_view value, const std::string& prefix) {
  def_packet_area(area_bink, is_bink_word, value, prefix);
}

void def_pkt_area(std::string_view value, const std::string& prefix) {
  def_packet_area(area_pkt, is_pkt_word, value, prefix);
}

void def_text_area(std::string_view value, const std::string& prefix) {
  Area area;
  area.type = area_text;
  std::string_view path = take_path(value);
  std::string_view name = file_part(path);
  if (name.empty() || path.size() > path_limit) {
    stop_run_logged("%s incorrect filename `%s'\n", prefix.c_str(), std::string(path).c_str());
  }
  area.path = found_dir(dir_part(path), prefix) + std::string(name);
  take_tag(value, area, prefix);
  store_area(area);
}

namespace {

enum class EchoKind { unset, pass, fido, squish, jam };

EchoKind echo_kind(char flag) {
  switch (flag) {
    case '0':
      return EchoKind::pass;
    case '$':
      return EchoKind::squish;
    case 'j':
    case 'J':
      return EchoKind::jam;
    case 'f':
    case 'F':
      return EchoKind::fido;
    default:
      return EchoKind::unset;
  }
}

/// Takes a word behind tag and path; false if it is neither a flag nor an address.
bool take_echo_word(std::string_view word, EchoKind& kind, EchoRecord& echo) {
  if (word[0] == '-') {
    char flag = word.size() > 1 ? word[1] : ' ';
    EchoKind named = echo_kind(flag);
    if (named == EchoKind::unset) {
      log_line(4, "unknown flag -%c, ignored\n", flag);
    } else if (kind == EchoKind::unset) {
      kind = named;
    }
    return true;
  }
  FtnAddr link;
  if (addr_parse(word, link) == 0) {
    write_stderr("incorrect addr: `" + std::string(word) + "'\n");
    return false;
  }
  echo.links.push_back(link);
  return true;
}

void def_area_of_echo(EchoRecord& echo, EchoKind kind, std::string_view path, const std::string& prefix) {
  std::string definition = std::string(path) + " " + echo.tag.str() + " echomail";
  switch (kind) {
    case EchoKind::pass:
      return;
    case EchoKind::squish:
      echo.type = area_squish;
      return def_squish_area(definition, prefix);
    case EchoKind::jam:
      echo.type = area_jam;
      return def_jam_area(definition, prefix);
    case EchoKind::unset:
    case EchoKind::fido:
      echo.type = area_fido;
      return def_fido_area(definition, prefix);
  }
}

}  // namespace

int def_echo(std::string_view value, bool is_bad, const std::string& prefix) {
  if (config.bad_area_defined) {
    write_stderr("bad area already defined\n");
    return 0;
  }
  if (is_bad) config.bad_area_defined = true;
  EchoRecord echo;
  echo.is_bad = is_bad;
  std::string_view word;
  std::string_view path;
  if (!next_word(value, word)) return 0;
  echo.tag = upper(word);
  if (!next_word(value, path)) return 0;
  EchoKind kind = EchoKind::unset;
  if (path[0] == '-') {
    if (path != "-0") return 0;
    kind = EchoKind::pass;
  }
  while (next_word(value, word)) {
    if (!take_echo_word(word, kind, echo)) return 0;
  }
  if (echo.links.empty()) return 0;
  def_area_of_echo(echo, kind, path, prefix);
  areas.echoes.push_back(echo);
  return 1;
}

}  // namespace quelmo
