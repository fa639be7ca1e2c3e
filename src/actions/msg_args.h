// The option language of Move, CopyArea, Bounce, CreateMail and ChangeMail: each option is one argument of
// the script, such as `-t @2:999/100 Sysop` or `-a @PRIVATE !LOCAL`. It makes a NewMsgArgs, and that makes a
// message.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/address.h"
#include "core/fixed_text.h"
#include "core/script_call.h"
#include "message/line_list.h"
#include "message/msg.h"
#include "message/packet_scan.h"

namespace quelmo {

/// What a new message shall be.
struct NewMsgArgs {
  FtnAddr from;
  FixedText<36> fromname;
  FtnAddr to;
  FixedText<36> toname;
  FixedText<72> subject;
  uint16_t attr = 0;
  uint16_t flags = 0;
  uint32_t intattr = 0;
  std::optional<LineList> tpl;    ///< text of a template
  std::optional<LineList> lines;  ///< text given directly
  int tpl_pos = 1;                ///< body line at which `tpl` goes
  int lines_pos = 1;
  std::optional<FixedText<64>> origin;
  std::optional<FixedText<64>> tearline;
  std::optional<FixedText<64>> area;  ///< echo tag for an AREA line
  std::time_t time = 0;               ///< 0: not set
  FixedText<64> route;                ///< address or ROUTING block; empty: not set
  std::optional<PktHeader> pkthdr;    ///< header for a new packet
  /// The last, for add_msg: null if it isn't set.
  const PktHeader* packet_header() const { return pkthdr ? &*pkthdr : nullptr; }
};

/// Fields of `msg` as the start of a NewMsgArgs.
NewMsgArgs args_of(const Msg& msg);

/// The arguments of a call from `first` on, the tenth being the last that is read, each trimmed, unquoted and
/// expanded by `expand_macro`.
std::vector<std::string> option_args(const ScriptCall& call, int first);

/// Reads the options in their order. A fault in one stops the run.
void get_new_msgarg(const std::vector<std::string>& options, const char* label, NewMsgArgs& args);

/// A copy of `msg` with the header fields of `args`.
Msg apply_msgarg(const Msg& msg, const NewMsgArgs& args);

/// A copy of `text` with the texts of `args`: template, lines, AREA line, tear line, Origin with the address
/// `from`.
LineList apply_text_args(const LineList& text, const NewMsgArgs& args, const FtnAddr& from);

/// Lines that `shape_text` logs at level 4; null: none.
struct ShapeLines {
  const char* netmail = nullptr;   ///< an address changed: the kludges of netmail follow
  const char* echomail = nullptr;  ///< the sender changed: the kludges of echomail follow
  const char* flags = nullptr;     ///< the FLAGS kludge is set
};

/// Brings `list`, the text of a message that was `old` and becomes `msg`, into line with the new header and
/// with the kind of its area. Netmail is routed by the option -u, if it was given.
void shape_text(const Msg& old, const NewMsgArgs& args, bool echo, Msg& msg, LineList& list,
                const ShapeLines& lines);

/// What the flags Invalidvias and Invkludges of a new message do to its text; `name` stands in the log.
void apply_invalid_flags(const char* name, const Msg& msg, LineList& list, bool all_kludges);

/// Each field of `src` that is no wildcard, and its domain, goes to `dest`.
void apply_address(const FtnAddr& src, FtnAddr& dest);

/// Routes `msg` as the option -u asks, if it was given: to the address, or by the ROUTING block.
void new_route(const NewMsgArgs& args, Msg& msg);

}  // namespace quelmo
