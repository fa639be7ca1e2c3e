// Upper and lower case of ASCII letters, byte by byte, whatever locale Perl has set. Letters above 127 belong
// to a code page that nothing here knows, and stay as they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quelmo {

constexpr char upper_byte(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
constexpr char lower_byte(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Three-way comparison of the upper-cased texts: negative, 0 or positive.
constexpr int compare_nocase(std::string_view a, std::string_view b) {
  for (size_t i = 0; i < a.size() && i < b.size(); i++) {
    auto x = static_cast<unsigned char>(upper_byte(a[i]));
    auto y = static_cast<unsigned char>(upper_byte(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

constexpr bool equal_nocase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && compare_nocase(a, b) == 0;
}

constexpr bool starts_nocase(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && equal_nocase(text.substr(0, start.size()), start);
}

/// For hash tables whose keys ignore case and are looked up by any text, without a copy of it.
struct NoCaseHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const {
    uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
    for (char c : text) hash = (hash ^ static_cast<unsigned char>(upper_byte(c))) * 0x100000001B3;
    return hash;
  }
};
struct NoCaseEqual {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const { return equal_nocase(a, b); }
};

inline std::string upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = upper_byte(c);
  return out;
}

inline std::string lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = lower_byte(c);
  return out;
}

}  // namespace quelmo
