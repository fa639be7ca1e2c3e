// Text of a fixed-size field: at most N - 1 bytes and a NUL. The field's width is the limit of the data
// model, so what is assigned is cut to it, and at its first NUL.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace quelmo {

template <size_t N>
class FixedText {
 public:
  static constexpr size_t limit = N - 1;

  FixedText() = default;
  FixedText(std::string_view text) { assign(text); }  // NOLINT: a text is a value of the field
  FixedText(const char* text) : FixedText(std::string_view(text)) {}
  FixedText& operator=(std::string_view text) {
    assign(text);
    return *this;
  }
  FixedText& operator=(const char* text) { return *this = std::string_view(text); }

  void assign(std::string_view text) {
    if (text.empty()) return clear();
    size_ = text.size() < limit ? text.size() : limit;
    if (size_ == 0) return clear();  // an empty view may point nowhere
    if (const void* nul = std::memchr(text.data(), 0, size_)) {
      size_ = static_cast<size_t>(static_cast<const char*>(nul) - text.data());
    }
    std::memmove(data_, text.data(), size_);
    data_[size_] = '\0';
  }
  void clear() {
    size_ = 0;
    data_[0] = '\0';
  }

  const char* c_str() const { return data_; }
  std::string_view view() const { return {data_, size_}; }
  operator std::string_view() const { return view(); }  // NOLINT: reads as text everywhere
  std::string str() const { return std::string(view()); }
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }

  friend bool operator==(const FixedText& a, const FixedText& b) { return a.view() == b.view(); }
  friend bool operator==(const FixedText& a, std::string_view b) { return a.view() == b; }

 private:
  char data_[N] = {};
  size_t size_ = 0;
};

}  // namespace quelmo
