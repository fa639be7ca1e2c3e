#include "core/text.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace quelmo {

bool abbreviates(std::string_view word, std::string_view whole) {
  return !word.empty() && starts_nocase(whole, word);
}

bool is_hex(std::string_view text) {
  return text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

bool is_number(std::string_view text) {
  // Addresses come through here several times for each message: a loop beats a search for each character.
  auto fits = [](char c) { return (c >= '0' && c <= '9') || c == '-'; };
  return !text.empty() && std::all_of(text.begin(), text.end(), fits);
}

long to_number(std::string_view text) {
  constexpr long largest = std::numeric_limits<long>::max();
  auto is_space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
  bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  long value = 0;
  for (char c : text) {
    if (c < '0' || c > '9') break;
    int digit = c - '0';
    value = value > (largest - digit) / 10 ? largest : value * 10 + digit;
  }
  return negative ? -value : value;
}

int to_int(std::string_view text) {
  constexpr long least = std::numeric_limits<int>::min();
  constexpr long most = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(to_number(text), least, most));
}

std::string_view trim_spaces(std::string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view strip_line_end(std::string_view text) {
  while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) text.remove_suffix(1);
  return text;
}

bool next_word(std::string_view& text, std::string_view& word) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  if (text.empty()) return false;
  size_t end = 0;
  while (end < text.size() && !is_blank(text[end])) end++;
  word = text.substr(0, end);
  while (end < text.size() && is_blank(text[end])) end++;
  text.remove_prefix(end);
  return true;
}

std::string_view next_line(std::string_view& text, size_t widest) {
  size_t end = text.substr(0, widest).find('\n');
  std::string_view line = text.substr(0, end == std::string_view::npos ? widest : end + 1);
  text.remove_prefix(line.size());
  return line;
}

std::vector<std::string> split_words(std::string_view text, size_t limit) {
  constexpr size_t widest = 255;
  std::vector<std::string> words;
  std::string_view word;
  while (words.size() < limit && next_word(text, word)) words.emplace_back(word.substr(0, widest));
  return words;
}

std::vector<std::string_view> split_at(std::string_view text,
                                       std::initializer_list<std::string_view> delimiters) {
  std::vector<std::string_view> parts;
  for (std::string_view delimiter : delimiters) {
    size_t at = text.find(delimiter);
    if (at == std::string_view::npos) break;
    parts.push_back(text.substr(0, at));
    text.remove_prefix(at + delimiter.size());
  }
  if (!parts.empty()) parts.push_back(text);
  return parts;
}

std::string_view unquote(std::string_view text) {
  if (text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front()) {
    return text.substr(1, text.size() - 2);
  }
  return text;
}

std::string format_text(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string out = format_arguments(format, args);
  va_end(args);
  return out;
}

std::string format_arguments(const char* format, va_list args) {
  va_list again;
  va_copy(again, args);
  int size = std::vsnprintf(nullptr, 0, format, args);
  std::string out(size > 0 ? static_cast<size_t>(size) : 0, '\0');
  if (size > 0) std::vsnprintf(out.data(), out.size() + 1, format, again);
  va_end(again);
  return out;
}

}  // namespace quelmo
