// Little-endian records of files, field by field. A record has one description, a template
//
//   template <class Io> void fields(Io& io, Record& r) { io.u16(r.net); io.text(r.name, 36); ... }
//
// that ByteReader and ByteWriter both follow. Byte order lives here and nowhere else.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/fixed_text.h"

namespace quelmo {

/// Takes fields from a byte string. A field that lies beyond the end reads as 0 or empty and makes
/// `short_input` true; nothing beyond the end is touched.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : bytes_(bytes) {}

  void u8(uint8_t& value) { value = static_cast<uint8_t>(number(1)); }
  void u16(uint16_t& value) { value = static_cast<uint16_t>(number(2)); }
  void u32(uint32_t& value) { value = static_cast<uint32_t>(number(4)); }
  void i32(int32_t& value) { value = static_cast<int32_t>(number(4)); }
  /// A field of `width` bytes, its text ended by a NUL; cut to what the FixedText holds.
  template <size_t N>
  void text(FixedText<N>& value, size_t width) {
    value = take(width);
  }
  /// Raw bytes, zeros where the input is short.
  template <size_t N>
  void raw(std::array<char, N>& value) {
    value = {};
    take(N).copy(value.data(), N);
  }
  void skip(size_t count) { take(count); }

  bool short_input() const { return short_; }

 private:
  std::string_view take(size_t count) {
    short_ = short_ || count > bytes_.size();
    std::string_view taken = bytes_.substr(0, count);
    bytes_.remove_prefix(taken.size());
    return taken;
  }
  uint32_t number(size_t width) {
    std::string_view raw = take(width);
    if (raw.size() != width) return 0;
    uint32_t value = 0;
    for (size_t i = 0; i < width; i++)
      value |= static_cast<uint32_t>(static_cast<uint8_t>(raw[i])) << (8 * i);
    return value;
  }

  std::string_view bytes_;
  bool short_ = false;
};

/// Appends fields to a byte string that it owns.
class ByteWriter {
 public:
  void u8(uint8_t value) { number(value, 1); }
  void u16(uint16_t value) { number(value, 2); }
  void u32(uint32_t value) { number(value, 4); }
  void i32(int32_t value) { number(static_cast<uint32_t>(value), 4); }
  /// The text, cut to `width` - 1 bytes, and NULs up to `width`.
  template <size_t N>
  void text(const FixedText<N>& value, size_t width) {
    std::string_view shown = value.view().substr(0, width - 1);
    bytes_ += shown;
    bytes_.append(width - shown.size(), '\0');
  }
  template <size_t N>
  void raw(const std::array<char, N>& value) {
    bytes_.append(value.data(), N);
  }
  void skip(size_t count) { bytes_.append(count, '\0'); }

  const std::string& bytes() const { return bytes_; }

 private:
  void number(uint32_t value, int width) {
    for (int i = 0; i < width; i++) bytes_ += static_cast<char>(value >> (8 * i) & 0xFF);
  }

  std::string bytes_;
};

}  // namespace quelmo
