// The attribute words of a message: the attribute word of the stored header (FTS-0001 and the programs after
// it), the words of the FLAGS kludge (FSC-0053), the internal flags that live as long as the message in
// memory, and the outbound flavours. Each is one table of names and bits.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quelmo {

struct BitName {
  const char* name;
  uint32_t bit;
};

// Attribute word of the stored header. On disk: never change.
enum Attr : uint16_t {
  attr_private = 0x0001,
  attr_crash = 0x0002,
  attr_received = 0x0004,
  attr_sent = 0x0008,
  attr_file = 0x0010,
  attr_intransit = 0x0020,
  attr_orphan = 0x0040,
  attr_killsent = 0x0080,
  attr_local = 0x0100,
  attr_hold = 0x0200,
  attr_res1 = 0x0400,
  attr_request = 0x0800,
  attr_rrq = 0x1000,
  attr_isrr = 0x2000,
  attr_audit = 0x4000,
  attr_update = 0x8000,
};

// Words of the FLAGS kludge that the program itself looks at.
enum Flags : uint16_t {
  flags_dir = 0x0001,
  flags_imm = 0x0002,
  flags_kfs = 0x0020,  ///< attached files are killed when they are sent
  flags_tfs = 0x0040,  ///< attached files are truncated when they are sent
};

enum Flavor : uint16_t {
  flavor_normal = 0x0001,
  flavor_dir = 0x0002,
  flavor_crash = 0x0004,
  flavor_imm = 0x0008,
  flavor_hold = 0x0010,
};

// Internal flags that the program itself sets or looks at; scripts reach all of them by name.
enum IntAttr : uint32_t {
  int_null = 0x00000001,
  int_loop = 0x00000002,
  int_loop2 = 0x00000004,
  int_seen = 0x00000010,
  int_lastvia = 0x00000020,
  int_checkedpath = 0x00000100,
  int_invalidvias = 0x00000200,
  int_invkludges = 0x00000400,
  int_echomail = 0x00000800,
  int_routedecho = 0x00001000,
  int_intl = 0x00010000,
  int_interzone = 0x00020000,
  int_changed = 0x00040000,
  int_dummyattach = 0x00200000,
  int_ignoreattach = 0x00400000,
  int_zaloop = 0x02000000,
  int_logged = 0x04000000,  ///< has no name: the line that names this message stands in the log
};

/// The tables, in the order in which set bits are written out.
std::span<const BitName> attr_table();
std::span<const BitName> flags_table();
std::span<const BitName> intattr_table();
std::span<const BitName> flavor_table();

/// Names of the set bits in table order, upper case, joined by one blank.
std::string attr_to_text(uint16_t bits);
std::string flags_to_text(uint16_t bits);
std::string intattr_to_text(uint32_t bits);
std::string flavor_to_text(uint16_t bits);

/// The words of all three: those of FLAGS and the internal flags behind a blank if there are any, so that a
/// text without an attribute word begins with the blank. At most 255 bytes.
std::string attributes_text(uint16_t attr, uint16_t flags, uint32_t intattr);

/// The bit of a word, ignoring case.
uint16_t attr_by_name(std::string_view word);     ///< 0xFFFF if unknown
uint16_t flag_by_name(std::string_view word);     ///< 0xFFFF if unknown
uint32_t intattr_by_name(std::string_view word);  ///< 0xFFFFFFFF if unknown
uint16_t flavor_by_name(std::string_view word);   ///< 0 if unknown

constexpr uint16_t unknown_bit16 = 0xFFFF;
constexpr uint32_t unknown_bit32 = 0xFFFFFFFF;

/// The bits of all blank-separated words that the FLAGS table knows, or'ed.
uint16_t flags_from_line(std::string_view words);

/// True if the word, less a leading "!", stands in one of the tables of attributes, FLAGS words or internal
/// flags.
bool attr_name_known(std::string_view word);

/// The outbound flavour that attributes and FLAGS words ask for: HOLD, CRASH, IMM and DIR add up; without any
/// of them NORMAL.
uint16_t msg_flavor(uint16_t attr, uint16_t flags);

}  // namespace quelmo
