#include "core/address.h"

#include "core/text.h"

namespace quelmo {
namespace {

bool parse_field(std::string_view text, bool wild, uint16_t& field) {
  if (is_number(text)) {
    field = static_cast<uint16_t>(to_number(text));
    return true;
  }
  if (!wild || (text != "*" && text != "#")) return false;
  field = text == "*" ? wild_any : wild_hash;
  return true;
}

// The separators are looked for in the order ":", "/", "@" only, and each part is cut to its width before it
// is tested; both are the accepted form of the field.
int parse(std::string_view text, bool wild, FtnAddr& addr) {
  constexpr size_t number_width = 7;
  constexpr size_t rest_width = 11;
  size_t colon = text.find(':');
  if (colon == std::string_view::npos) return 0;
  size_t slash = text.find('/', colon + 1);
  if (slash == std::string_view::npos) return 0;
  size_t at = text.find('@', slash + 1);
  std::string_view rest = text.substr(slash + 1, at == std::string_view::npos ? at : at - slash - 1);
  rest = rest.substr(0, rest_width);
  size_t dot = rest.find('.');
  std::string_view point = dot == std::string_view::npos ? std::string_view() : rest.substr(dot + 1);
  if (point.empty()) point = "0";

  FtnAddr parsed;
  if (!parse_field(text.substr(0, colon).substr(0, number_width), wild, parsed.zone) ||
      !parse_field(text.substr(colon + 1, slash - colon - 1).substr(0, number_width), wild, parsed.net) ||
      !parse_field(rest.substr(0, dot).substr(0, number_width), wild, parsed.node) ||
      !parse_field(point.substr(0, number_width), wild, parsed.point)) {
    return 0;
  }
  if (at != std::string_view::npos) parsed.domain = text.substr(at + 1);
  addr = parsed;
  return 1;
}

void put_field(std::string& out, uint16_t field) {
  if (field == wild_any) {
    out += '*';
  } else {
    out += std::to_string(field);
  }
}

}  // namespace

int addr_parse(std::string_view text, FtnAddr& addr) {
  return parse(text, false, addr);
}

int addr_parse_wild(std::string_view text, FtnAddr& addr) {
  return parse(text, true, addr);
}

std::string addr_to_text(const FtnAddr& addr) {
  std::string out;
  put_field(out, addr.zone);
  out += ':';
  put_field(out, addr.net);
  out += '/';
  put_field(out, addr.node);
  if (addr.point != 0) {
    out += '.';
    put_field(out, addr.point);
  }
  return out;
}

bool addr_equal(const FtnAddr& a, const FtnAddr& b) {
  return a.zone == b.zone && a.net == b.net && a.node == b.node && a.point == b.point;
}

int addr_match_depth(const FtnAddr& a, const FtnAddr& b) {
  if (a.net != b.net) return 1;
  if (a.node != b.node) return 2;
  return a.point != b.point ? 3 : 4;
}

int first_addr(std::string_view text, FtnAddr& addr) {
  auto between = [](char c) { return is_blank(c) || c == ','; };
  for (;;) {
    while (!text.empty() && between(text.front())) text.remove_prefix(1);
    if (text.empty()) return 0;
    size_t end = 0;
    while (end < text.size() && !between(text[end])) end++;
    if (addr_parse(text.substr(0, end), addr) == 1) return 1;
    text.remove_prefix(end);
  }
}

}  // namespace quelmo
