// The scratch directory of an outbound, `<outbound>.qlm`. Mail for a bink area is gathered here, so that the
// outbound itself is touched in one short step, under the mailer's busy flags (outbound/build.h).
//
// There is a file for each pair of addresses, flavour and kind. Names are eight hexadecimal digits and an
// extension, whose letter is the flavour (docs/formats/scratch.md):
//   ?ip  (oip hip iip cip dip)  a packet in the making: header and messages, without the final u16 of 0
//   ?if  (fif hif iif cif dif)  attached files: 8 bytes of address, then lines
//   ir                          requested files: the same
#pragma once

#include <cstdint>
#include <string>

#include "config/areas.h"
#include "core/address.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

/// The address that a list in the scratch directory begins with. On disk: never change.
constexpr size_t scratch_address_size = 8;

template <class Io, class Addr>
void scratch_address_fields(Io& io, Addr& addr) {
  io.u16(addr.zone);
  io.u16(addr.net);
  io.u16(addr.node);
  io.u16(addr.point);
}

/// The area's scratch directory, without closing separator.
std::string scratch_dir(const Area& area);

/// Writes a message into the scratch directory: to a packet for `msg.routeto`, and what it attaches or
/// requests into lists; with Dummyattach only those. True with the last file's path in `current.lastname`, or
/// false with the reason logged. A file that can't take its part whole takes nothing of it.
bool writeOIP(const Area& area, const Msg& msg, const LineList& text);

/// Closes the scratch files, so that they can be taken away. Their names go on being used.
void close_scratch_files();
/// The same, and forgets the names.
void free_scratch_names();

}  // namespace quelmo
