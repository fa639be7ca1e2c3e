// Operations on the lines of a message text. An element and a line are different things (line_list.h): each
// operation says which it counts.
#pragma once

#include <cstdint>
#include <string_view>

#include "message/line_list.h"

namespace quelmo {

// How add_text and delete_line count.
enum class Count {
  body,  ///< body lines: neither kludge, tear line nor Origin
  all,   ///< add_text: elements, delete_line: lines
};

constexpr int at_end = -1;

/// The element behind the line that begins at element `first`: behind the first one that ends in CR.
size_t line_end(const LineList& list, size_t first);

/// Puts `text`, with its CR, in the place of the whole line that begins at element `first`.
void replace_line(LineList& list, size_t first, std::string_view text);

/// Gives the last line of a text its CR if it has none.
void end_last_line(LineList& list);

/// Inserts copies of `lines` ahead of number `pos`, from 1. Counting body lines they go ahead of the tear
/// line, the Origin or the first tail kludge (SEEN-BY, PATH, Via, Recv) if one comes first; with `at_end`
/// behind tear line and Origin, ahead of the first tail kludge. Counting all, `at_end` is the very end. `pos`
/// 0 is the very start. A last line without its CR gets it before anything goes behind it.
void add_text(LineList& list, const LineList& lines, int pos, Count count);
void add_text(LineList& list, std::string_view line, int pos, Count count);

/// Removes line `n`, from 1, with all its elements; 1, or 0 if there is no such line.
int delete_line(LineList& list, int n, Count count);

/// Puts `words` into the FLAGS kludge, which keeps its place; a new one goes behind AREA, INTL, TOPT and FMPT
/// lines. Empty `words` remove it.
void set_flags_kludge(LineList& list, std::string_view words);

/// Turns the Via lines into plain lines: "@Via ...".
void invalidate_vias(LineList& list);
/// The same for the kludges but DOMAIN, FMPT, INTL, MSGID, TOPT and Via, or for all of them.
void invalidate_kludges(LineList& list, bool all);
/// Turns tear lines into "-+-" and Origin lines into " + Origin:".
void invalidate_tear_origin(LineList& list);

/// Appends `text` as elements of at most 254 bytes; the last one, also of an empty text, gets a CR.
void text_to_lines(LineList& list, std::string_view text);

}  // namespace quelmo
