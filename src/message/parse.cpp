#include "message/parse.h"

#include <string>

#include "bases/dates.h"
#include "core/log.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/current.h"
#include "message/kludges.h"
#include "message/text_edit.h"

namespace quelmo {
namespace {

// What the walk over the text of a message gathers.
struct Findings {
  AddressKludges kludges;
  uint16_t flags = 0;
  uint32_t intattr = 0;
  uint32_t linecount = 0;
};

void keep_via(std::string_view line, LineList& vias) {
  if (ends_line(line)) {
    vias.append(line);
    return;
  }
  log_line(0, "parse_msg: no CR at the end of a Via line\n");
  vias.append(std::string(line) + "\r");
}

void take_kludge(std::string_view line, Findings& found, LineList& vias) {
  Kludge id = kludge_id(line);
  if (id == kludge_unknown) return;
  std::string_view argument = kludge_argument(line, id);
  switch (id) {
    case kludge_area:
      if (found.linecount == 0) found.intattr |= int_routedecho;
      break;
    case kludge_flags:
      if (found.flags == 0) found.flags = flags_from_line(argument);
      break;
    case kludge_intl:
      found.kludges.intl = argument;
      break;
    case kludge_fmpt:
      found.kludges.fmpt = argument;
      break;
    case kludge_topt:
      found.kludges.topt = argument;
      break;
    case kludge_msgid:
      found.kludges.msgid = argument;
      break;
    case kludge_reply:
      found.kludges.reply = argument;
      break;
    case kludge_via:
      keep_via(line, vias);
      break;
    default:
      break;
  }
}

void walk_text(LineList& text, LineList& vias, Findings& found) {
  bool in_kludge = false;  // the further elements of a long kludge are no body lines
  for (size_t i = 0; i < text.size(); i++) {
    std::string_view line = text[i];
    if (in_kludge) {
      in_kludge = !ends_line(line);
    } else if (is_kludge(line)) {
      take_kludge(line, found, vias);
      in_kludge = !ends_line(line);
    } else if (!is_tear_line(line) && !is_origin(line)) {
      if (i == 0 && line.starts_with("AREA:")) found.intattr |= int_echomail;
      found.linecount++;
    }
  }
  // A full last element stays as it is; what goes behind it ends it.
  if (!text.empty() && text.back().size() < LineList::element_limit) end_last_line(text);
  if (found.linecount == 0) found.intattr |= int_null;
}

// Takes the zone of the address in a MSGID or REPLY into `zone`, if it is the address of `whose`.
void zone_from(const FixedText<128>& text, const FtnAddr& whose, const char* name, uint16_t& zone) {
  FtnAddr addr;
  std::string_view rest = text;
  std::string_view word;
  if (next_word(rest, word) && addr_parse(word, addr) == 1 && addr_match_depth(addr, whose) == 4) {
    zone = addr.zone;
  } else {
    log_line(3, "parse_kludges: %s not valid or doesn't match, ignored\n", name);
  }
}

// The pair of addresses of an INTL: destination, then origin.
bool parse_intl(std::string_view text, FtnAddr& dest, FtnAddr& orig) {
  std::string_view word;
  return next_word(text, word) && addr_parse(word, dest) == 1 && next_word(text, word) &&
         addr_parse(word, orig) == 1;
}

// Up to `width` digits off the front of `text`.
bool take_digits(std::string_view& text, size_t width, int& value) {
  size_t end = 0;
  value = 0;
  while (end < width && end < text.size() && text[end] >= '0' && text[end] <= '9')
    value = value * 10 + text[end++] - '0';
  text.remove_prefix(end);
  return end > 0;
}

bool take_char(std::string_view& text, char c) {
  if (text.empty() || text[0] != c) return false;
  text.remove_prefix(1);
  return true;
}

// Time of a Via line's text: "address @yyyymmdd.hhmmss."; 0 if it isn't of that form.
std::time_t via_time(std::string_view text) {
  std::string_view address;
  std::tm t = {};
  if (!next_word(text, address) || !take_char(text, '@') || !take_digits(text, 4, t.tm_year) ||
      !take_digits(text, 2, t.tm_mon) || !take_digits(text, 2, t.tm_mday) || !take_char(text, '.') ||
      !take_digits(text, 2, t.tm_hour) || !take_digits(text, 2, t.tm_min) ||
      !take_digits(text, 2, t.tm_sec)) {
    return 0;
  }
  t.tm_year -= 1900;
  t.tm_mon -= 1;
  return local_to_unix(t);
}

std::string_view behind_via(std::string_view line) {
  constexpr size_t token = 5;  // CTRL-A "Via "
  return line.size() > token ? strip_line_end(line.substr(token)) : std::string_view();
}

// In an echomail packet the sender of a message is whom its last Origin names.
void take_sender_from_origin(Msg& msg, const LineList& text) {
  std::string origin;
  for (std::string_view line : text) {
    if (is_origin(line)) origin = line;
  }
  FtnAddr sender;
  if (get_echo_from(origin, sender) == 1) {
    msg.pktfrom = msg.from;
    msg.from = sender;
  } else {
    log_line(4, "parse_msg error: origin not found or incorrect:`%s'\n", origin.c_str());
  }
}

}  // namespace

void parse_msg(Msg& msg, LineList& text, LineList& vias, std::string_view system) {
  Findings found;
  found.intattr = msg.intattr;
  walk_text(text, vias, found);

  FtnAddr from = {.zone = msg.from.zone, .net = msg.from.net, .node = msg.from.node};
  FtnAddr to = {.zone = msg.to.zone, .net = msg.to.net, .node = msg.to.node};
  found.intattr |= parse_kludges(found.kludges, from, to);
  FtnAddr aka;
  match_aka(system, to, aka);
  if (log_passes(3)) {
    log_line(3, "parse_msg: aka matching for Data System %s : to=%s   aka=%s\n", std::string(system).c_str(),
             addr_to_text(to).c_str(), addr_to_text(aka).c_str());
  }
  found.intattr |= parse_vias(vias, aka, msg);

  bool echo_area = is_echo_area(CurMsg.type, CurMsg.tag);
  bool echomail = echo_area || (found.intattr & int_echomail) != 0;
  if ((found.intattr & int_lastvia) == 0 && (!echomail || config.touch_echomail)) {
    add_via(text, aka);
    found.intattr |= int_changed;
  }

  msg.to = to;
  msg.from = from;
  msg.from.domain = aka.domain;
  if (CurMsg.type == area_pkt && echomail) take_sender_from_origin(msg, text);
  msg.flags = found.flags;
  msg.intattr = found.intattr;
  msg.flavor = msg_flavor(msg.attr, msg.flags);
  msg.routeto = to;
  msg.domain = aka.domain.view();
  msg.replyto = found.kludges.reply;
  msg.msgid = found.kludges.msgid;
  msg.intl = found.kludges.intl;
  msg.linecount = found.linecount;
  msg.length = 0;
}

uint32_t parse_kludges(AddressKludges& k, FtnAddr& from, FtnAddr& to) {
  uint32_t result = 0;
  bool zone_gate = false;
  from.point = static_cast<uint16_t>(to_number(k.fmpt));
  to.point = static_cast<uint16_t>(to_number(k.topt));
  if (!k.intl.empty()) {
    FtnAddr dest;
    FtnAddr orig;
    if (parse_intl(k.intl, dest, orig)) {
      result |= int_intl;
      from.zone = orig.zone;
      zone_gate = to.net != dest.net || to.node != dest.node;
      to.zone = zone_gate ? from.zone : dest.zone;
    } else {
      k.intl.clear();
      log_line(3, "parse_kludges: INTL not valid, ignored\n");
    }
  }
  if (from.zone == 0) {
    log_line(3, "parse_kludges: try to fetch zone from MSGID\n");
    zone_from(k.msgid, from, "MSGID", from.zone);
  }
  if (from.zone == 0) {
    log_line(3, "parse_kludges: try to fetch zone from REPLYTO\n");
    zone_from(k.reply, to, "REPLYTO", from.zone);
  }
  if (zone_gate) log_line(3, "parse_kludges: zonegating detected (who cares? ;-)\n");
  if (from.zone == 0) {
    log_line(3, "parse_kludges: fetch def zone from MainAddress\n");
    from.zone = config.main_address.zone;
  }
  if (to.zone == 0) to.zone = from.zone;
  if (to.zone != from.zone) result |= int_interzone;
  return result;
}

uint32_t parse_vias(const LineList& vias, const FtnAddr& aka, Msg& msg) {
  uint32_t result = 0;
  FtnAddr previous;
  for (std::string_view via : vias) {
    FtnAddr addr;
    if (first_addr(behind_via(via), addr) == 0) continue;
    if (addr_equal(addr, aka)) {
      result |= int_seen;
    } else if (addr_equal(previous, aka)) {
      msg.loops++;
      if (msg.loops == 1) result |= int_loop;
      if (msg.loops == 2 || msg.loops == 3) result |= int_loop2;
    }
    previous = addr;
  }
  if (!vias.empty() && addr_equal(previous, aka)) {
    result |= int_lastvia;
    msg.viatime = via_time(behind_via(vias.back()));
  }
  return result;
}

std::string_view origin_address(std::string_view line) {
  size_t open = line.rfind('(');
  size_t close = line.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || open > close) return {};
  std::string_view inside = line.substr(open + 1, close - open - 1);
  size_t digit = inside.find_first_of("0123456789");
  return digit == std::string_view::npos ? std::string_view() : inside.substr(digit);
}

int get_echo_from(std::string_view line, FtnAddr& addr) {
  std::string_view written = origin_address(line);
  if (written.empty()) return 0;
  if (addr_parse(written, addr) == 1) return 1;
  log_line(4, "get_echo_from: error parsing origin address:`%s'\n", std::string(written).c_str());
  return 0;
}

}  // namespace quelmo
