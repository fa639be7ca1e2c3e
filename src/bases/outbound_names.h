// The names of a mailer's outbound, in its three layouts. For a system there are packets and lists (one of
// each for every flavour), one request file and one busy flag:
//
//   Binkley    <dir>[<sep><domain>][.<zzz>]<sep><net><node>.?ut, .?lo, .req, .bsy
//              and for a point <...><net><node>.pnt<sep><point>.?ut and so on; all numbers hexadecimal
//   Brake      <path><domain>.<zone>.<net>.<node>.<point>.<Flavour>.Mail, .<Flavour>.List, .Request, .Busy
//   Amiga4D    <path><zone>.<net>.<node>.<point>.?ut, .?lo, .req, .bsy
//
// `outbound_name` makes them and `read_outbound_name` reads them back: scanning and building agree on every
// name, since neither forms one by itself.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/areas.h"
#include "core/address.h"
#include "message/packet_scan.h"

namespace quelmo {

enum class OutFile { packet, list, request, flag };

/// The outbound's directory: the area's path without its closing separator. The start directory, in full, for
/// an area without a path.
std::string outbound_dir(const Area& area);

/// Path of a file of the system `to`. `letter` is a flavour letter of `flavor_letter`; requests and flags
/// have none and ignore it. Nothing is looked up on the disk.
std::string outbound_name(const Area& area, const FtnAddr& to, OutFile what, char letter = 'o');

/// Makes sure that the directories stand into which the files of `to` go. Stops the run if one can't be made.
void make_outbound_dirs(const Area& area, const FtnAddr& to);

struct OutboundName {
  FtnAddr to;  ///< without domain
  OutFile what = OutFile::packet;
  char letter = 'o';  ///< lower case; 'o' for a normal packet, 'f' for a normal list
};

/// What a path says if it is one that `outbound_name` gives for this area, whatever the case of its letters;
/// nothing if it isn't. Zones that the layout leaves out are that of the main address.
std::optional<OutboundName> read_outbound_name(const Area& area, std::string_view path);

/// True if a SYSTEM block has a line of this domain, or the main address has it, ignoring case.
bool is_known_domain(std::string_view name);

/// True for the name of a list: its extension is "List", or ends in "LO" behind its first letter.
bool is_list_name(std::string_view path);

/// The busy flag of the system that a packet or list is for. A path that names no system has a flag of its
/// own, with its extension replaced.
std::string flag_of_path(const Area& area, std::string_view path);

/// The flavour letter of files: `h` hold, `i` immediate, `c` crash, `d` direct, the first that `flavor` has;
/// else `o` for packets, `f` for lists.
char flavor_letter(uint16_t flavor, OutFile what);

/// "Hold", "Immediate", "Crash", "Direct", "Normal" for a letter, in either case.
std::string_view flavor_word(char letter);

/// The flavour bit that the name of a packet or list tells: flavor_hold, flavor_imm, flavor_crash,
/// flavor_dir; 0 for normal.
uint16_t flavor_of_name(const Area& area, std::string_view path);

/// Makes a busy flag: a file that must not exist yet. True if the system is ours now; then `held` is the
/// flag, or none where flags are ignored. False if it is busy, or the flag can't be made.
bool set_bsy(const std::string& flag, BusyFlag& held);

/// Removes the flag that set_bsy made and forgets it. Nothing for an empty `held`, and nothing if another
/// program has taken our flag away and set its own: only who made a flag removes it.
void kill_bsy(BusyFlag& held);

/// A flag that is held as long as this lives.
class HeldFlag {
 public:
  HeldFlag() = default;
  HeldFlag(const HeldFlag&) = delete;
  HeldFlag& operator=(const HeldFlag&) = delete;
  ~HeldFlag() { kill_bsy(held_); }

  /// As set_bsy.
  bool take(const std::string& flag) { return set_bsy(flag, held_); }

 private:
  BusyFlag held_;
};

}  // namespace quelmo
