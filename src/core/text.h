// The small vocabulary of texts: words, blanks, quotes, numbers. A blank is a space or a tab. Texts are
// bytes.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bytes_case.h"

namespace quelmo {

constexpr bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

/// True if `word` isn't empty and is a leading part of `whole`, ignoring case: "@f" of "@files".
bool abbreviates(std::string_view word, std::string_view whole);

/// Only hexadecimal digits, in either case; an empty text, too.
bool is_hex(std::string_view text);

/// Not empty, and only digits and "-".
bool is_number(std::string_view text);

/// The decimal number that a text begins with, behind white space and a sign; 0 if there is none. One that is
/// too large for its type counts as the largest.
long to_number(std::string_view text);
/// The same for the width of an int.
int to_int(std::string_view text);

/// The text without blanks at both ends.
std::string_view trim_spaces(std::string_view text);

/// The text without the CR and LF at its end.
std::string_view strip_line_end(std::string_view text);

/// Takes the first word off `text`, with the blanks around it, and puts it into `word`. False for a text
/// without a word; then `word` stays as it was.
bool next_word(std::string_view& text, std::string_view& word);

/// Takes the next line off `text`, with its LF. A line of more than `widest` bytes comes as several; the text
/// isn't empty.
std::string_view next_line(std::string_view& text, size_t widest);

/// At most `limit` words, each cut to 255 bytes.
std::vector<std::string> split_words(std::string_view text, size_t limit = 20);

/// Splits at each delimiter in turn, in this order: the part before the first, the part between the first and
/// the second, and so on; what is left is the last part. A delimiter that isn't found ends the splitting.
/// Without any found the result is empty.
std::vector<std::string_view> split_at(std::string_view text,
                                       std::initializer_list<std::string_view> delimiters);

/// The text without one pair of enclosing double quotes, or else one pair of enclosing single quotes.
std::string_view unquote(std::string_view text);

/// printf into a string.
[[gnu::format(printf, 1, 2)]] std::string format_text(const char* format, ...);
[[gnu::format(printf, 1, 0)]] std::string format_arguments(const char* format, va_list args);

}  // namespace quelmo
