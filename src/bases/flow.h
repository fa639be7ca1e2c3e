// Lists of attached files in a mailer's outbound (FTS-5005's flow files; docs/formats/flow.md): a line for
// each file, ended by CR, LF, CR LF or a NUL. `^` ahead of a name: delete it once it is sent; `#`: truncate
// it.
#pragma once

#include <string>
#include <string_view>

#include "bases/packet_file.h"
#include "message/line_list.h"
#include "message/msg.h"

namespace quelmo {

/// One line of a list.
struct FlowLine {
  std::string_view file;  ///< without its prefix
  uint16_t flags = 0;     ///< flags_kfs, flags_tfs or none
};

/// Takes the line at offset `at` of a list, which isn't its end, with up to two of its end's bytes. `at`
/// always moves on. Of a line whose file is longer than `widest` the rest is the next line.
FlowLine take_flow_line(std::string_view list, size_t& at, size_t widest = std::string_view::npos);

/// Loads a list of the scanned area into `scan`: its bytes, `to` from its name, `from` the own address
/// towards it. Fails, logged, if it can't be read.
Load read_FLO(const std::string& path, PktScan& scan);

/// Makes a message of the next line: from the program to the sysop, the file as its subject, FILE and
/// Dummyattach set.
void read_FLO_msg(PktScan& scan, LineList& text, Msg& msg);

}  // namespace quelmo
