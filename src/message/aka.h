// This system's own addresses, and its trace in the Via lines of a message (FTS-4009's older form).
#pragma once

#include <string>
#include <string_view>

#include "core/address.h"
#include "message/line_list.h"

namespace quelmo {

/// The own address for talking to `addr`: of the lines of the SYSTEM block `system` that serve the zone of
/// `addr` the one that agrees with it deepest (net, node, point), the first of several; with the line's
/// domain. The main address if there is none. 1 if the block exists, else 0; `aka` is set in every case.
int match_aka(std::string_view system, const FtnAddr& addr, FtnAddr& aka);

/// True if the Via lines show that the message already went from this system to `routeto`.
bool za_loop(const LineList& vias, const FtnAddr& routeto, std::string_view system);

/// A Via line of `aka` with the time of now: CTRL-A "Via", address, stamp, program, CR.
std::string make_via(const FtnAddr& aka);
/// Puts such a line at the very end of a text.
void add_via(LineList& list, const FtnAddr& aka);

/// The time of now as a Via line shows it: "@20011231.235959.UTC+3". The digits are local time in spite of
/// the letters.
std::string via_stamp();

/// `addr` with its domain: "2:999/100.1@fidonet"; without "@" if the domain is empty.
std::string addr_with_domain(const FtnAddr& addr);

}  // namespace quelmo
