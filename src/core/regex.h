// POSIX regular expressions, as glibc offers them.
#pragma once

#include <regex.h>

#include <memory>
#include <string>
#include <string_view>

namespace quelmo {

/// A compiled extended expression. Copies share the compiled form.
class Regex {
 public:
  Regex() = default;

  /// Compiles `pattern` with REG_EXTENDED and `flags` (0 or REG_ICASE). On failure the result is false and
  /// `error` holds the library's text, at most 99 bytes.
  bool compile(std::string_view pattern, int flags, std::string& error);

  /// True if the expression fits somewhere in `text`. An object that holds nothing compiled fits nowhere.
  bool matches(std::string_view text) const;

  explicit operator bool() const { return static_cast<bool>(compiled_); }

 private:
  std::shared_ptr<const regex_t> compiled_;
};

}  // namespace quelmo
