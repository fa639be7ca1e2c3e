// The message areas of the configuration: their records, and the look-ups by tag.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/address.h"
#include "core/fixed_text.h"
#include "platform/bytes_case.h"

namespace quelmo {

enum AreaType : int {
  area_none = -1,
  area_fido = 0,
  area_squish = 1,
  area_bink = 2,
  area_pkt = 3,
  area_text = 4,
  area_jam = 5,
};
constexpr int area_type_count = 6;

enum OutboundKind : int { outbound_binkley = 0, outbound_brake = 1, outbound_amiga4d = 2 };
enum BoxKind : int { box_none = 0, box_b = 1, box_t = 2 };

/// One area. `path` is a directory with a closing separator (fido, bink, pkt), a base name without extension
/// (squish, JAM) or a file name (text); except for text areas it holds at most 127 bytes.
struct Area {
  AreaType type = area_fido;
  FixedText<256> path;
  FixedText<20> tag;         ///< upper case
  FixedText<20> system;      ///< tag of a SYSTEM block, empty if none
  FixedText<20> password;    ///< bink, pkt: tag of a PASSWORDADDRESS block, empty if none
  FixedText<20> pkt_length;  ///< pkt: tag of a PKTLENGTH block, empty if none
  bool echomail = false;
  bool no_main_zone = false;  ///< bink
  bool multi_domain = false;  ///< bink
  OutboundKind outbound_kind = outbound_binkley;
  BoxKind box_kind = box_none;  ///< pkt
};

/// A line of ECHOAREA or BADAREA.
struct EchoRecord {
  FixedText<20> tag;
  AreaType type = area_none;  ///< area_none: passed through
  std::vector<FtnAddr> links;
  bool is_bad = false;
};

struct AreaLists {
  std::vector<Area> of_type[area_type_count];  ///< in the order of their definition
  /// Where each tag stands in its list: areas are looked up for each message, and a hub has thousands.
  std::unordered_map<std::string, size_t, NoCaseHash, NoCaseEqual> places[area_type_count];
  std::vector<EchoRecord> echoes;
};
extern AreaLists areas;

/// The area of this tag, ignoring case: null if there is none. A tag that several kinds use is that of the
/// first kind in the order fido, bink, pkt, squish, JAM, text.
const Area* find_area(std::string_view tag);
/// The area of this kind and tag; null if there is none.
const Area* find_area(AreaType type, std::string_view tag);

/// Kind of the area; area_none if the tag isn't defined.
AreaType area_type(std::string_view tag);

/// Tag of the area's SYSTEM block; empty for a text area, an unknown tag, and an area without one.
std::string_view area_system(std::string_view tag);

/// True if the area of this kind and tag is marked as echomail.
bool is_echo_area(AreaType type, std::string_view tag);

/// Adds the area, or gives the one of the same kind and tag these values. A fido, squish or JAM tag also gets
/// its time-stamp entry, if it has none yet.
void store_area(const Area& area);

}  // namespace quelmo
