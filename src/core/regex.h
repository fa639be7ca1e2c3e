// POSIX regular expressions, as glibc offers them.
#pragma once

#include <regex.h>

#include <memory>
#include <optional>
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

  /// The leftmost, longest part of `text` that the expression fits, which may be empty. Nothing if there is
  /// none, or if the object holds nothing compiled.
  std::optional<std::string_view> find(std::string_view text) const;
  bool matches(std::string_view text) const { return find(text).has_value(); }

  explicit operator bool() const { return static_cast<bool>(compiled_); }

 private:
  std::shared_ptr<const regex_t> compiled_;
};

}  // namespace quelmo
