// The tests that a select string can ask for, one for each data type: of the message in memory, the files on
// disk or the clock. Each walks its block in the order of the lines and answers true at the first that fits,
// or tests its direct data. Bad direct data, and a block that isn't there, stop the run. Nothing is changed
// but `hdr.length`, which is worked out where it is asked for.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/regex.h"

namespace quelmo {

enum class Side { from, to };

struct SelectQuery {
  std::string_view data;  ///< tag of a block, or the direct data
  Side side = Side::from;
  bool direct = false;
  bool relaxed = false;
};

// Addresses, and what goes with them (predicates_address.cpp). Relaxed, an address fits whatever its point.
bool select_address(const SelectQuery& query);
bool select_addrname(const SelectQuery& query);
/// The password is compared with the subject, ignoring case; relaxed, only the address counts, as its pattern
/// says.
bool select_passaddr(const SelectQuery& query);
bool select_readdresslist(const SelectQuery& query);
/// Whether the addressee is a target of one of the rules, on either side; `#` has no meaning here.
bool select_routing(const SelectQuery& query);
bool select_system(const SelectQuery& query);
bool select_nodelist(const SelectQuery& query);
bool select_v9(const SelectQuery& query);

// Texts and words (predicates_text.cpp). Relaxed, a part of a text fits, ignoring case; a line of a block
// that holds a regular expression knows no relaxing.
bool select_attr(const SelectQuery& query);
bool select_echoname(const SelectQuery& query);
bool select_kludge(const SelectQuery& query);
bool select_name(const SelectQuery& query);
/// As `select_passaddr`, with a name that is compared ignoring case.
bool select_passname(const SelectQuery& query);
bool select_subject(const SelectQuery& query);
bool select_textstr(const SelectQuery& query);

// Ages, lengths, the calendar (predicates_limits.cpp).
bool select_date(const SelectQuery& query);
bool select_dow(const SelectQuery& query);
bool select_msgage(const SelectQuery& query);
/// Relaxed, only the address counts.
bool select_msglen(const SelectQuery& query);
/// False without a Via line of this system at the end of the message.
bool select_prage(const SelectQuery& query);

// Files (predicates_files.cpp).
bool select_fage(const SelectQuery& query);
bool select_files(const SelectQuery& query);

/// True if the bit that an attribute word names, in the first of the three tables that knows it, is set; with
/// a leading "!", if it is clear. An unknown word stops the run.
bool check_all_attr(std::string_view word, uint16_t attr, uint16_t flags, uint32_t intattr);

/// True if the first word of some kludge line of the message, with its CTRL-A, fits; a SEEN-BY line counts as
/// if it began with one. The expression is used only if it holds something and regular expressions are on.
bool kludge_present(std::string_view pattern, const Regex& regex, bool relaxed);

/// True if some element of the text, without its line end, fits: the expression if it holds something, else
/// the pattern.
bool text_line_present(std::string_view pattern, const Regex& regex, bool relaxed);

}  // namespace quelmo
