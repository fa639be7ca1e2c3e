#include "config/packers.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/attributes.h"
#include "select/block_handlers.h"
#include "select/block_parsers.h"

namespace quelmo {
namespace {

constexpr size_t address_width = 63;
constexpr size_t password_width = 8;

FtnAddr strict_address(std::string_view text, const std::string& prefix) {
  FtnAddr addr;
  if (addr_parse(text, addr) == 0) {
    stop_run_logged("%s incorrect address : `%s'\n", prefix.c_str(), std::string(text).c_str());
  }
  return addr;
}

std::string_view known_packer(std::string_view name, const std::string& prefix) {
  if (name != "-" && find_packer(name) == nullptr) {
    stop_run_logged("%s packer undefined : `%s'\n", prefix.c_str(), std::string(name).c_str());
  }
  return name;
}

int32_t packer_maxlen(std::string_view text, const std::string& prefix) {
  int32_t bytes = 0;
  if (text != "-" && !parse_length(text, bytes)) {
    stop_run_logged("%s syntax (length): `%s'\n", prefix.c_str(), std::string(text).c_str());
  }
  return bytes;
}

// Takes the flavour words off the front of a routing line; those beyond the tenth are dropped.
std::vector<uint16_t> take_flavors(std::string_view& line) {
  constexpr size_t most = 10;
  std::vector<uint16_t> flavors;
  for (;;) {
    std::string_view rest = line;
    std::string_view word = take_word(rest);
    bool off = word.starts_with('!');
    if (off) word.remove_prefix(1);
    uint16_t bit = flavor_by_name(word);
    if (bit == 0) return flavors;
    if (flavors.size() < most) flavors.push_back(static_cast<uint16_t>(off ? bit | flavor_off : bit));
    line = rest;
  }
}

FtnAddr routing_dest(std::string_view text, const std::string& prefix) {
  FtnAddr dest;
  bool good = addr_parse_wild(text, dest) != 0;
  // `#` asks for the uplink hub and has a meaning as a node only.
  if (!good || dest.zone == wild_hash || dest.net == wild_hash || dest.point == wild_hash) {
    stop_run_logged("%s incorrect <dest> : `%s'\n", prefix.c_str(), std::string(text).c_str());
  }
  return dest;
}

}  // namespace

void handle_address(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_address, tag, prefix);
  add_entry(blocks.address, stored, {.address = block_address(line, prefix)});
}

void handle_addressname(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_addressname, tag, prefix);
  AddressNameEntry entry;
  entry.address = block_address(take_word(line), prefix);
  entry.name = line;
  entry.regex = compile_pattern(line, prefix);
  add_entry(blocks.addressname, stored, std::move(entry));
}

void handle_addresspacker(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_addresspacker, tag, prefix);
  AddressPackerEntry entry;
  entry.address = block_address(take_word(line), prefix);
  entry.packer = known_packer(take_word(line), prefix);
  entry.maxlen = packer_maxlen(take_word(line), prefix);
  entry.attrs = line;
  std::string_view word;
  while (next_word(line, word)) check_attr_name(word, prefix);
  add_entry(blocks.addresspacker, stored, entry);
}

void handle_passwordaddress(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_passwordaddress, tag, prefix);
  PasswordAddressEntry entry;
  entry.password = take_word(line).substr(0, password_width);
  entry.address = strict_address(take_word(line).substr(0, address_width), prefix);
  add_entry(blocks.passwordaddress, stored, entry);
}

void handle_passwordname(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_passwordname, tag, prefix);
  std::string_view rest = line;
  std::string_view password = take_word(rest);
  PasswordNameEntry entry = {.password = password, .name = unquote(rest)};
  if (entry.name.empty()) {
    stop_run_logged("%s syntax:`%s'", prefix.c_str(), std::string(line).c_str());
  }
  add_entry(blocks.passwordname, stored, entry);
}

void handle_readdresslist(std::string_view tag, std::string_view line, const std::string& prefix) {
  ReaddressEntry entry;
  entry.from = block_address(take_word(line).substr(0, address_width), prefix);
  entry.to = block_address(take_word(line).substr(0, address_width), prefix);
  FixedText<20> stored = open_block(type_readdresslist, tag, prefix);
  add_entry(blocks.readdresslist, stored, entry);
}

void handle_routing(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_routing, tag, prefix);
  RoutingRule rule;
  rule.flavors = take_flavors(line);
  std::string_view dest = take_word(line);
  if (line.empty()) stop_run_logged("%s incorrect argument count\n", prefix.c_str());
  rule.dest = routing_dest(dest, prefix);
  std::string_view word;
  while (next_word(line, word)) {
    if (addr_parse_wild(word, rule.targets.emplace_back()) == 0) {
      stop_run_logged("%s incorrect <target> : `%s'\n", prefix.c_str(), std::string(word).c_str());
    }
  }
  add_entry(blocks.routing, stored, std::move(rule));
}

void handle_system(std::string_view tag, std::string_view line, const std::string& prefix) {
  constexpr size_t most_zones = 20;
  FixedText<20> stored = open_block(type_system, tag, prefix);
  SystemEntry entry;
  entry.address = strict_address(take_word(line).substr(0, address_width), prefix);
  entry.domain = take_word(line);
  std::string_view word;
  while (entry.zones.size() < most_zones && next_word(line, word)) {
    auto zone = static_cast<uint16_t>(to_number(word));
    if (zone == 0) {
      stop_run_logged("%s incorrect zone : `%s'\n", prefix.c_str(), std::string(word).c_str());
    }
    entry.zones.push_back(zone);
  }
  if (entry.zones.empty()) stop_run_logged("%s no zones defined\n", prefix.c_str());
  add_entry(blocks.system, stored, std::move(entry));
}

}  // namespace quelmo
