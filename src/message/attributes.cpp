#include "message/attributes.h"

#include <iterator>

#include "core/text.h"

namespace quelmo {
namespace {

constexpr BitName attrs[] = {
    {"AUDIT", attr_audit},         {"CRASH", attr_crash},
    {"FILE", attr_file},           {"HOLD", attr_hold},
    {"INTRANSIT", attr_intransit}, {"ISRR", attr_isrr},
    {"KILLSENT", attr_killsent},   {"LOCAL", attr_local},
    {"ORPHAN", attr_orphan},       {"PRIVATE", attr_private},
    {"RECEIVED", attr_received},   {"REQUEST", attr_request},
    {"RES1", attr_res1},           {"RRQ", attr_rrq},
    {"SENT", attr_sent},           {"UPDATE", attr_update},
};

constexpr BitName flag_words[] = {
    {"CFM", 0x0008}, {"DIR", flags_dir}, {"FPU", 0x0080}, {"HUB", 0x0100}, {"IMM", flags_imm},
    {"IT1", 0x0400}, {"IT2", 0x0800},    {"IT3", 0x1000}, {"K/S", 0x0200}, {"KFS", 0x0020},
    {"LOK", 0x2000}, {"TFS", 0x0040},    {"XMA", 0x0004}, {"ZON", 0x0010}, {"NPD", 0x4000},
};

constexpr BitName intattrs[] = {
    {"Addlf", 0x00080000},
    {"Changed", int_changed},
    {"Checkedpath", int_checkedpath},
    {"Dummyattach", int_dummyattach},
    {"Echomail", int_echomail},
    {"Flag", 0x00800000},
    {"From2d", 0x00000080},
    {"Ignoreattach", int_ignoreattach},
    {"Interzone", int_interzone},
    {"Intl", int_intl},
    {"Invalidvias", int_invalidvias},
    {"Invkludges", int_invkludges},
    {"Lastvia", int_lastvia},
    {"Loop", int_loop},
    {"Loop2", int_loop2},
    {"Loop3", 0x00000008},
    {"Normal", 0x00100000},
    {"Null", int_null},
    {"Repeatscan", 0x01000000},
    {"Routedecho", int_routedecho},
    {"Seen", int_seen},
    {"To2d", 0x00000040},
    {"User1", 0x00002000},
    {"User2", 0x00004000},
    {"User3", 0x00008000},
    {"ZaLoop", int_zaloop},
};

constexpr BitName flavors[] = {
    {"CRASH", flavor_crash}, {"DIR", flavor_dir},       {"HOLD", flavor_hold},
    {"IMM", flavor_imm},     {"NORMAL", flavor_normal},
};

// No name and no bit stands twice, and each entry is one bit.
template <size_t N>
constexpr bool sound(const BitName (&table)[N]) {
  uint32_t seen = 0;
  for (size_t i = 0; i < N; i++) {
    uint32_t bit = table[i].bit;
    if (bit == 0 || (bit & (bit - 1)) != 0 || (seen & bit) != 0) return false;
    seen |= bit;
    for (size_t j = 0; j < i; j++) {
      if (equal_nocase(table[i].name, table[j].name)) return false;
    }
  }
  return true;
}
static_assert(sound(attrs) && std::size(attrs) == 16);
static_assert(sound(flag_words) && std::size(flag_words) == 15);
static_assert(sound(intattrs) && std::size(intattrs) == 26);
static_assert(sound(flavors) && std::size(flavors) == 5);

std::string bits_to_text(std::span<const BitName> table, uint32_t bits) {
  std::string out;
  for (const BitName& entry : table) {
    if ((bits & entry.bit) == 0) continue;
    if (!out.empty()) out += ' ';
    out += upper(entry.name);
  }
  return out;
}

uint32_t bit_by_name(std::span<const BitName> table, std::string_view word, uint32_t unknown) {
  for (const BitName& entry : table) {
    if (equal_nocase(word, entry.name)) return entry.bit;
  }
  return unknown;
}

}  // namespace

std::span<const BitName> attr_table() {
  return attrs;
}
std::span<const BitName> flags_table() {
  return flag_words;
}
std::span<const BitName> intattr_table() {
  return intattrs;
}
std::span<const BitName> flavor_table() {
  return flavors;
}

std::string attr_to_text(uint16_t bits) {
  return bits_to_text(attrs, bits);
}
std::string flags_to_text(uint16_t bits) {
  return bits_to_text(flag_words, bits);
}
std::string intattr_to_text(uint32_t bits) {
  return bits_to_text(intattrs, bits);
}
std::string flavor_to_text(uint16_t bits) {
  return bits_to_text(flavors, bits);
}

std::string attributes_text(uint16_t attr, uint16_t flags, uint32_t intattr) {
  constexpr size_t widest = 255;
  std::string text = attr_to_text(attr);
  for (const std::string& words : {flags_to_text(flags), intattr_to_text(intattr)}) {
    if (!words.empty()) text += " " + words;
  }
  return text.substr(0, widest);
}

uint16_t attr_by_name(std::string_view word) {
  return static_cast<uint16_t>(bit_by_name(attrs, word, unknown_bit16));
}
uint16_t flag_by_name(std::string_view word) {
  return static_cast<uint16_t>(bit_by_name(flag_words, word, unknown_bit16));
}
uint32_t intattr_by_name(std::string_view word) {
  return bit_by_name(intattrs, word, unknown_bit32);
}
uint16_t flavor_by_name(std::string_view word) {
  return static_cast<uint16_t>(bit_by_name(flavors, word, 0));
}

uint16_t flags_from_line(std::string_view words) {
  uint16_t bits = 0;
  std::string_view word;
  while (next_word(words, word)) {
    uint16_t bit = flag_by_name(word);
    if (bit != unknown_bit16) bits |= bit;
  }
  return bits;
}

bool attr_name_known(std::string_view word) {
  if (!word.empty() && word.front() == '!') word.remove_prefix(1);
  return attr_by_name(word) != unknown_bit16 || flag_by_name(word) != unknown_bit16 ||
         intattr_by_name(word) != unknown_bit32;
}

uint16_t msg_flavor(uint16_t attr, uint16_t flags) {
  unsigned flavor = 0;
  if ((attr & attr_hold) != 0) flavor |= flavor_hold;
  if ((flags & flags_imm) != 0) flavor |= flavor_imm;
  if ((attr & attr_crash) != 0) flavor |= flavor_crash;
  if ((flags & flags_dir) != 0) flavor |= flavor_dir;
  if (flavor == 0) flavor = flavor_normal;
  return static_cast<uint16_t>(flavor);
}

}  // namespace quelmo
