#include "bases/pkt_header.h"

#include <algorithm>
#include <cstdlib>

#include "bases/dates.h"
#include "bases/pkt_records.h"
#include "core/log.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

constexpr uint8_t product_lo = 0x41;
constexpr uint8_t revision_major = 1;
constexpr uint8_t revision_minor = 2;
constexpr size_t hdr_elements = 9;

void set_date(PktHeader& header, const std::tm& t) {
  header.year = static_cast<uint16_t>(t.tm_year + 1900);
  header.month = static_cast<uint16_t>(t.tm_mon);
  header.day = static_cast<uint16_t>(t.tm_mday);
  header.hour = static_cast<uint16_t>(t.tm_hour);
  header.minute = static_cast<uint16_t>(t.tm_min);
  header.second = static_cast<uint16_t>(t.tm_sec);
}

// The tag of the area's password block, empty if it has none.
std::string_view password_tag(const Area& area) {
  const char* tag = area.tag.c_str();
  bool bink = area.type == area_bink;
  if (area.password.empty()) {
    log_line(4,
             bink ? "binkarea_to_passwtag: no password block defined for binkarea `%s'\n"
                  : "pktarea_to_passwtag: no password block defined for binkarea `%s'\n",
             tag);
  } else {
    log_line(4,
             bink ? "binkarea_to_passwtag: password block `%s' found for binkarea `%s'\n"
                  : "pktarea_to_passwtag: password block `%s' found for binkarea `%s'\n",
             area.password.c_str(), tag);
  }
  return area.password;
}

FixedText<10> fetch_passw(std::string_view tag, const FtnAddr& addr) {
  const Block<PasswordAddressEntry>* block = find_block(blocks.passwordaddress, tag);
  if (block == nullptr) {
    log_line(0, "fetch_password error: can`t find password data block `%s' for current binkarea\n",
             std::string(tag).c_str());
    return {};
  }
  log_line(4, "fetch_passw: PasswordAddress tag found: `%s'\n", block->tag.c_str());
  for (const PasswordAddressEntry& entry : block->entries) {
    if (log_passes(4)) {
      log_line(4, "addr->passw: compare `%s' and `%s'\n", addr_to_text(addr).c_str(),
               addr_to_text(entry.address).c_str());
    }
    if (!addr_equal(addr, entry.address)) continue;
    if (log_passes(4)) {
      log_line(4, "addr->passw: got password `%s' for addr `%s'\n", entry.password.c_str(),
               addr_to_text(addr).c_str());
    }
    return entry.password;
  }
  return {};
}

// A hexadecimal number at the start of `text`, behind blanks, of at most `width` characters; `value` stays if
// there is none.
template <class Number>
void scan_hex(const std::string& text, size_t width, Number& value) {
  size_t start = std::min(text.find_first_not_of(" \t"), text.size());
  std::string digits = text.substr(start, width);
  char* end = nullptr;
  unsigned long number = std::strtoul(digits.c_str(), &end, 16);
  if (end != digits.c_str()) value = static_cast<Number>(number);
}

}  // namespace

FixedText<10> packet_password(const Area& area, const FtnAddr& to) {
  std::string_view tag = password_tag(area);
  return tag.empty() ? FixedText<10>() : fetch_passw(tag, to);
}

PktHeader make_pkt_header(const Area& area, const FtnAddr& from, const FtnAddr& to) {
  PktHeader header = {.prodCodeLo = product_lo,
                      .revMajor = revision_major,
                      .cwCopy = pkt_cap_word_copy,
                      .revMinor = revision_minor,
                      .capWord = pkt_cap_word};
  set_pkt_password(header, packet_password(area, to));
  set_pkt_from(header, from);
  set_pkt_to(header, to);
  std::time_t now = std::time(nullptr);
  std::tm utc = {};
  ::gmtime_r(&now, &utc);
  set_date(header, utc);
  return header;
}

bool set_pkt_hdr(const std::vector<std::string>& texts, const char* label, PktHeader& header) {
  if (texts.size() != hdr_elements) {
    log_line(0, "%s wrong number of elements in pkt hdr array\n", label);
    return false;
  }
  FtnAddr from;
  FtnAddr to;
  if (addr_parse(texts[0], from) == 0) {
    log_line(0, "%s incorrect from address: `%s'\n", label, texts[0].c_str());
    return false;
  }
  if (addr_parse(texts[1], to) == 0) {
    log_line(0, "%s incorrect to address: `%s'\n", label, texts[1].c_str());
    return false;
  }
  std::time_t time = fts_to_unix(texts[2]);
  if (time == 0) {
    log_line(0, "%s incorrect ftsc date: `%s'\n", label, texts[2].c_str());
    return false;
  }
  std::tm local = {};
  if (::localtime_r(&time, &local) == nullptr) {
    log_line(0, "%s localtime failed for %08x\n", label, static_cast<unsigned>(time));
    return false;
  }
  set_pkt_from(header, from);
  set_pkt_to(header, to);
  set_date(header, local);
  set_pkt_password(header, texts[3]);
  scan_hex(texts[4], 2, header.prodCodeHi);
  scan_hex(texts[5], 2, header.prodCodeLo);
  scan_hex(texts[6], 2, header.revMinor);
  scan_hex(texts[7], 2, header.revMajor);
  scan_hex(texts[8], texts[8].size(), header.prodData);
  return true;
}

}  // namespace quelmo
