#include "core/log.h"
#include "core/text.h"
#include "nodelist/lookup.h"
#include "select/block_parsers.h"
#include "select/predicate_helpers.h"

namespace quelmo {
namespace {

bool address_fits(const SelectQuery& query, const FtnAddr& pattern) {
  return comp_aadrs(side_address(query), pattern, query.relaxed);
}

void trace_compare(const SelectQuery& query, const FtnAddr& pattern) {
  FtnAddr shown = pattern;
  if (query.relaxed) shown.point = wild_any;
  log_line(4, "select address: compare `%s' in msg and `%s' in block\n",
           addr_to_text(side_address(query)).c_str(), addr_to_text(shown).c_str());
}

// The test of `select_address` with the address `member` of each entry of a block.
template <class Entry>
bool any_address_fits(BlockList<Entry>& list, FtnAddr Entry::*member, const SelectQuery& query,
                      const char* complaint) {
  bool traced = log_passes(4);
  const FtnAddr& addr = side_address(query);
  return any_entry(list, query, complaint, [&](const Entry& entry) {
    if (traced) trace_compare(query, entry.*member);
    return comp_aadrs(addr, entry.*member, query.relaxed);
  });
}

bool direct_address(const SelectQuery& query) {
  FtnAddr pattern;
  if (addr_parse_wild(query.data, pattern) == 0) {
    stop_run("incorrect address in `SelectAddr': `%s'\n", std::string(query.data).c_str());
  }
  return address_fits(query, pattern);
}

bool direct_addrname(const SelectQuery& query) {
  constexpr size_t name_width = 35;
  std::string_view name = query.data;
  std::string_view word = take_word(name);
  FtnAddr pattern;
  if (addr_parse(word, pattern) == 0) {
    stop_run("select_addrname error: incorrect address in Data AddressName : `%s' (%s)\n",
             std::string(word).c_str(), std::string(query.data).c_str());
  }
  if (name.empty()) {
    stop_run("select_addrname error: incorrect name in Data AddressName : `%s'\n",
             std::string(query.data).c_str());
  }
  return comp_str(side_name(query), name.substr(0, name_width), query.relaxed) &&
         address_fits(query, pattern);
}

bool password_fits(const SelectQuery& query, std::string_view password, const FtnAddr& pattern) {
  return (query.relaxed || equal_nocase(password, current.hdr.subject)) &&
         comp_aadrs(side_address(query), pattern);
}

bool direct_passaddr(const SelectQuery& query) {
  std::string_view rest = query.data;
  std::string_view password = unquote(take_word(rest));
  std::string_view word = take_word(rest);
  FtnAddr pattern;
  if (addr_parse_wild(word, pattern) == 0) {
    stop_run("select_passaddr error: incorrect address in `SelectPasswordAddr': `%s'\n",
             std::string(word).c_str());
  }
  return password_fits(query, password, pattern);
}

bool same_or_any(uint16_t field, uint16_t pattern) {
  return pattern == field || pattern == wild_any;
}

bool target_fits(const FtnAddr& to, const FtnAddr& target, bool any_point) {
  return same_or_any(to.zone, target.zone) && same_or_any(to.net, target.net) &&
         same_or_any(to.node, target.node) && (any_point || same_or_any(to.point, target.point));
}

}  // namespace

bool select_address(const SelectQuery& query) {
  if (query.direct) return direct_address(query);
  return any_address_fits(blocks.address, &AddressEntry::address, query,
                          "select_address: no such <Data Address>");
}

bool select_addrname(const SelectQuery& query) {
  if (query.direct) return direct_addrname(query);
  return any_entry(blocks.addressname, query, "select_addrname: no such <Data AddressName>",
                   [&](const AddressNameEntry& entry) {
                     return address_fits(query, entry.address) &&
                            text_fits(side_name(query), entry.name, entry.regex, query.relaxed);
                   });
}

bool select_passaddr(const SelectQuery& query) {
  if (query.direct) return direct_passaddr(query);
  return any_entry(
      blocks.passwordaddress, query, "select_passaddr error: no such <Data PasswordAddress>",
      [&](const PasswordAddressEntry& entry) { return password_fits(query, entry.password, entry.address); });
}

bool select_readdresslist(const SelectQuery& query) {
  return any_address_fits(blocks.readdresslist, &ReaddressEntry::from, query,
                          "select_readdresslist: no such <Data ReAddress>");
}

bool select_routing(const SelectQuery& query) {
  return any_entry(blocks.routing, query, "select_routing: no such <Data Routing>",
                   [&](const RoutingRule& rule) {
                     return std::ranges::any_of(rule.targets, [&](const FtnAddr& target) {
                       return target_fits(current.hdr.to, target, query.relaxed);
                     });
                   });
}

bool select_system(const SelectQuery& query) {
  return any_address_fits(blocks.system, &SystemEntry::address, query,
                          "select_system: no such <Data System>");
}

bool select_nodelist(const SelectQuery& query) {
  const auto& block = asked_block(blocks.nodelist, query, "select_nodelist: no such <Data Nodelist>");
  uint16_t uplink = 0;
  uint16_t region = 0;
  return is_listed(block, side_address(query), uplink, region);
}

bool select_v9(const SelectQuery& query) {
  const auto& block = asked_block(blocks.version9, query, "select_v9: no such <Data Version9>");
  uint16_t zone = 0;
  uint16_t region = 0;
  uint16_t uplink = 0;
  return is_v9_listed(block, side_address(query), zone, region, uplink);
}

}  // namespace quelmo
