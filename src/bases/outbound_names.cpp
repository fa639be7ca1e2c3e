#include "bases/outbound_names.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "core/dirs.h"
#include "core/log.h"
#include "core/run_state.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "platform/path.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

struct FlavorName {
  char letter;
  uint16_t bit;
  std::string_view word;
};

// In the order in which the bits of a message count.
constexpr FlavorName flavors[] = {
    {'h', flavor_hold, "Hold"},
    {'i', flavor_imm, "Immediate"},
    {'c', flavor_crash, "Crash"},
    {'d', flavor_dir, "Direct"},
};
constexpr std::string_view normal_word = "Normal";

char normal_letter(OutFile what) {
  return what == OutFile::list ? 'f' : 'o';
}

// Text behind the last '.', and that ahead of it; without a '.' the first is empty.
std::string_view take_extension(std::string_view& name) {
  size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return {};
  std::string_view extension = name.substr(dot + 1);
  name = name.substr(0, dot);
  return extension;
}

template <class Number>
bool read_number(std::string_view text, int base, Number& value) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

// A number as it is written: no sign, and no zero ahead that isn't needed to fill `width`.
bool read_canonical(std::string_view text, int base, size_t width, uint16_t& value) {
  if (text.size() < width || (text.size() > width && text[0] == '0')) return false;
  return read_number(text, base, value);
}

// Eight hexadecimal digits: two numbers.
bool read_net_node(std::string_view name, uint16_t& high, uint16_t& low) {
  return name.size() == 8 && read_number(name.substr(0, 4), 16, high) && read_number(name.substr(4), 16, low);
}

std::string domain_of(const Area& area, const FtnAddr& to) {
  FtnAddr aka;
  match_aka(area.system, to, aka);
  return aka.domain.str();
}

// Binkley: the directory of a zone, and in it the directory of a node's points.
std::string zone_dir(const Area& area, const FtnAddr& to) {
  std::string base = outbound_dir(area);
  if (area.multi_domain) {
    std::string domain = area.system.empty() ? std::string() : domain_of(area, to);
    if (domain.empty()) domain = config.main_address.domain.str();
    base = close_dir(base) + domain;
  }
  bool main_zone = to.zone == config.main_address.zone;
  if (area.no_main_zone || !main_zone) base += format_text(".%03x", to.zone);
  return base;
}

std::string node_stem(const Area& area, const FtnAddr& to) {
  return close_dir(zone_dir(area, to)) + format_text("%04x%04x", to.net, to.node);
}

// The name of a file of `to` without its extension.
std::string stem_of(const Area& area, const FtnAddr& to) {
  if (area.outbound_kind == outbound_binkley) {
    std::string stem = node_stem(area, to);
    return to.point == 0 ? stem : close_dir(stem + ".pnt") + format_text("%08x", to.point);
  }
  std::string stem = close_dir(outbound_dir(area));
  if (area.outbound_kind == outbound_brake) stem += domain_of(area, to) + ".";
  return stem + format_text("%u.%u.%u.%u", to.zone, to.net, to.node, to.point);
}

bool same_path(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return upper_byte(x) == upper_byte(y) || (is_separator(x) && is_separator(y));
  });
}

// The letter of ".?ut" and ".?lo", or what ".req" and ".bsy" are.
bool read_short_extension(std::string_view extension, OutboundName& found) {
  if (equal_nocase(extension, "req")) found.what = OutFile::request;
  if (equal_nocase(extension, "bsy")) found.what = OutFile::flag;
  if (found.what == OutFile::request || found.what == OutFile::flag) return true;
  if (extension.size() != 3) return false;
  found.letter = lower_byte(extension[0]);
  found.what = equal_nocase(extension.substr(1), "lo") ? OutFile::list : OutFile::packet;
  if (found.what == OutFile::packet && !equal_nocase(extension.substr(1), "ut")) return false;
  return found.letter == flavor_letter(0, found.what) || flavor_word(found.letter) != normal_word;
}

// The extensions of the Brake layout, the flavour word included.
bool read_long_extension(std::string_view& name, OutboundName& found) {
  std::string_view extension = take_extension(name);
  if (equal_nocase(extension, "Request")) found.what = OutFile::request;
  if (equal_nocase(extension, "Busy")) found.what = OutFile::flag;
  if (found.what == OutFile::request || found.what == OutFile::flag) return true;
  found.what = equal_nocase(extension, "List") ? OutFile::list : OutFile::packet;
  if (found.what == OutFile::packet && !equal_nocase(extension, "Mail")) return false;
  std::string_view word = take_extension(name);
  found.letter = normal_letter(found.what);
  if (!word.empty() && !equal_nocase(word, normal_word)) found.letter = lower_byte(word[0]);
  return equal_nocase(word, flavor_word(found.letter));
}

bool read_four_numbers(std::string_view& name, FtnAddr& to) {
  for (uint16_t* field : {&to.point, &to.node, &to.net}) {
    if (!read_canonical(take_extension(name), 10, 1, *field)) return false;
  }
  std::string_view zone = name;
  if (name.find('.') != std::string_view::npos) {
    zone = take_extension(name);
  } else {
    name = {};
  }
  return read_canonical(zone, 10, 1, to.zone);
}

// The zone of a directory of the Binkley layout, whose text has no closing separator.
bool read_zone_dir(const Area& area, std::string_view dir, FtnAddr& to) {
  to.zone = config.main_address.zone;
  bool main_may_stand = !area.no_main_zone;
  if (area.multi_domain ? is_known_domain(file_part(dir)) : same_path(dir, outbound_dir(area))) {
    return main_may_stand;
  }
  std::string_view stem = dir;
  std::string_view zone = take_extension(stem);
  if (zone.find_first_of("\\/") != std::string_view::npos) return false;
  if (!read_canonical(zone, 16, 3, to.zone)) return false;
  return area.multi_domain ? is_known_domain(file_part(stem)) : same_path(stem, outbound_dir(area));
}

bool read_binkley(const Area& area, std::string_view path, OutboundName& found) {
  std::string_view name = file_part(path);
  std::string_view extension = take_extension(name);
  std::string_view dir = path.substr(0, path.size() - file_part(path).size());
  if (dir.empty()) return false;
  dir.remove_suffix(1);
  if (!read_short_extension(extension, found)) return false;

  std::string_view parent = file_part(dir);
  std::string_view parent_stem = parent;
  if (equal_nocase(take_extension(parent_stem), "pnt") && !same_path(dir, outbound_dir(area))) {
    uint16_t high = 0;
    if (!read_net_node(name, high, found.to.point) || high != 0) return false;
    dir = dir.substr(0, dir.size() - parent.size());
    if (dir.empty()) return false;
    dir.remove_suffix(1);
    name = parent_stem;
  }
  return read_net_node(name, found.to.net, found.to.node) && read_zone_dir(area, dir, found.to);
}

}  // namespace

bool is_known_domain(std::string_view name) {
  bool known = equal_nocase(name, config.main_address.domain);
  for (const auto& block : blocks.system) {
    for (const SystemEntry& entry : block.entries) known = known || equal_nocase(name, entry.domain);
  }
  known = known && !name.empty();
  if (log_passes(5)) {
    log_line(5, known ? "is_known_domain: known domain `%s'\n" : "is_known_domain: unknown domain `%s'\n",
             std::string(name).c_str());
  }
  return known;
}

std::string outbound_dir(const Area& area) {
  std::string_view path = area.path;
  if (path.empty()) return host_path("");
  if (path.size() > 1 && is_separator(path.back())) path.remove_suffix(1);
  return std::string(path);
}

std::string outbound_name(const Area& area, const FtnAddr& to, OutFile what, char letter) {
  bool brake = area.outbound_kind == outbound_brake;
  std::string name = stem_of(area, to) + ".";
  if (what == OutFile::flag) return name + (brake ? "Busy" : "bsy");
  if (what == OutFile::request) return name + (brake ? "Request" : "req");
  if (brake) {
    return name + std::string(flavor_word(letter)) + (what == OutFile::list ? ".List" : ".Mail");
  }
  return name + letter + (what == OutFile::list ? "lo" : "ut");
}

void make_outbound_dirs(const Area& area, const FtnAddr& to) {
  if (area.outbound_kind != outbound_binkley) return;
  fix_path(zone_dir(area, to));
  if (to.point != 0) fix_path(node_stem(area, to) + ".pnt");
}

std::optional<OutboundName> read_outbound_name(const Area& area, std::string_view path) {
  OutboundName found;
  bool read = false;
  if (area.outbound_kind == outbound_binkley) {
    read = read_binkley(area, path, found);
  } else {
    std::string_view name = file_part(path);
    bool brake = area.outbound_kind == outbound_brake;
    read = (brake ? read_long_extension(name, found) : read_short_extension(take_extension(name), found)) &&
           read_four_numbers(name, found.to);
  }
  if (!read) return std::nullopt;
  return found;
}

bool is_list_name(std::string_view path) {
  std::string_view name = file_part(path);
  std::string_view extension = take_extension(name);
  return equal_nocase(extension, "List") || (!extension.empty() && equal_nocase(extension.substr(1), "LO"));
}

std::string flag_of_path(const Area& area, std::string_view path) {
  if (std::optional<OutboundName> name = read_outbound_name(area, path)) {
    return outbound_name(area, name->to, OutFile::flag);
  }
  std::string_view file = file_part(path);
  bool brake = area.outbound_kind == outbound_brake;
  take_extension(file);
  if (brake) take_extension(file);
  return std::string(dir_part(path)) + std::string(file) + (brake ? ".Busy" : ".bsy");
}

char flavor_letter(uint16_t flavor, OutFile what) {
  for (const FlavorName& known : flavors) {
    if ((flavor & known.bit) != 0) return known.letter;
  }
  return normal_letter(what);
}

std::string_view flavor_word(char letter) {
  for (const FlavorName& known : flavors) {
    if (lower_byte(letter) == known.letter) return known.word;
  }
  return normal_word;
}

uint16_t flavor_of_name(const Area& area, std::string_view path) {
  std::string_view name = file_part(path);
  std::string_view extension = take_extension(name);
  if (area.outbound_kind == outbound_brake) extension = take_extension(name);
  for (const FlavorName& known : flavors) {
    if (!extension.empty() && lower_byte(extension[0]) == known.letter) return known.bit;
  }
  return 0;
}

bool set_bsy(const std::string& flag, BusyFlag& held) {
  held = BusyFlag();
  if (config.ignore_bsy) return true;
  Fd file = open_file(flag, Open::create_new, 0600);
  if (!file) return false;
  held = {.name = flag, .file = file_info(file).value_or(FileInfo())};
  return true;
}

void kill_bsy(BusyFlag& held) {
  BusyFlag flag = std::exchange(held, BusyFlag());
  if (flag.name.empty()) return;
  std::optional<FileInfo> now = file_info(flag.name);
  if (now && !same_file(*now, flag.file)) return;
  if (!remove_file(flag.name)) {
    log_line(0, "dobinkout: error deleting *.bsy file: `%s'\n", flag.name.c_str());
  }
}

}  // namespace quelmo
