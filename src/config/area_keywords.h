// The keywords that define areas. `value` is what stands behind the keyword, `prefix` goes in front of
// messages. A definition that is wrong stops the run; one for a tag that the kind already has takes the place
// of the old one.
#pragma once

#include <string>
#include <string_view>

namespace quelmo {

/// `path tag [system] [echomail]`: `system` is the tag of a SYSTEM block.
void def_fido_area(std::string_view value, const std::string& prefix);
void def_squish_area(std::string_view value, const std::string& prefix);
void def_jam_area(std::string_view value, const std::string& prefix);

/// `path tag` and words in any order: tags of a SYSTEM and of a PASSWORDADDRESS block, NoMainZone,
/// MultiDomain, BrakeOutbound or Amiga4D.
void def_bink_area(std::string_view value, const std::string& prefix);

/// `path tag` and words in any order: tags of a SYSTEM, a PASSWORDADDRESS and a PKTLENGTH block, echomail,
/// b-box or t-box.
void def_pkt_area(std::string_view value, const std::string& prefix);

/// `file tag`.
void def_text_area(std::string_view value, const std::string& prefix);

/// `tag path [flag|address]...`, the form of echo processors: `-$` squish, `-j` JAM, `-f` fido, `-0` passed
/// through; the addresses are the links. 1, or 0 if the line is wrong. With `is_bad` the area takes bad
/// messages; it must be the last one.
int def_echo(std::string_view value, bool is_bad, const std::string& prefix);

}  // namespace quelmo
