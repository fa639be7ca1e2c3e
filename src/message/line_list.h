// The text of a message: a list of elements of at most 255 bytes. A line normally is one element and ends in
// CR, or in CR LF if its store held it so; a longer line spans several elements, of which only the last ends
// in CR.
//
// The elements of a list stand in one byte buffer, so that filling and throwing away the list of each message
// costs no allocation for each line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quelmo {

class LineList {
 public:
  static constexpr size_t element_limit = 255;

  size_t size() const { return elements_.size(); }
  bool empty() const { return elements_.empty(); }
  std::string_view operator[](size_t i) const {
    return std::string_view(bytes_).substr(elements_[i].at(), elements_[i].length());
  }
  std::string_view front() const { return (*this)[0]; }
  std::string_view back() const { return (*this)[size() - 1]; }

  /// Each of these cuts a text to `element_limit`. The text may be one of this list.
  void append(std::string_view text);
  void set(size_t i, std::string_view text);
  void insert(size_t at, std::string_view text);
  void insert(size_t at, const LineList& lines);
  void append(const LineList& lines) { insert(size(), lines); }

  /// Replaces one byte of an element.
  void set_byte(size_t i, size_t position, char byte) { bytes_[elements_[i].at() + position] = byte; }
  void erase(size_t first, size_t count = 1);

  /// Forgets the elements, keeps the memory.
  void clear();
  /// Forgets the elements and takes `text` apart: an element ends behind a CR, behind the LF that follows a
  /// CR, or where it is full. A CR LF that doesn't fit whole goes to the next element.
  void split(std::string_view text) {
    clear();
    append_split(text);
  }
  /// The same behind the elements that are there. The text isn't one of this list.
  void append_split(std::string_view text);

  /// Sum of the lengths of all elements.
  size_t length() const;
  /// All elements one behind the other.
  void join_to(std::string& out) const;

  class Iterator {
   public:
    Iterator(const LineList* list, size_t i) : list_(list), i_(i) {}
    std::string_view operator*() const { return (*list_)[i_]; }
    Iterator& operator++() {
      i_++;
      return *this;
    }
    bool operator==(const Iterator& other) const { return i_ == other.i_; }

   private:
    const LineList* list_;
    size_t i_;
  };
  Iterator begin() const { return {this, 0}; }
  Iterator end() const { return {this, size()}; }

 private:
  // Offset and length in one word: 8 bytes an element, however many lines a message has.
  class Element {
   public:
    Element(size_t at, size_t length) : packed_(at << 8 | length) {}
    size_t at() const { return packed_ >> 8; }
    size_t length() const { return packed_ & 0xFF; }

   private:
    uint64_t packed_;
  };
  Element store(std::string_view text);

  std::string bytes_;
  std::vector<Element> elements_;
};

/// True if an element ends its line: it ends in CR, or in CR LF.
constexpr bool ends_line(std::string_view element) {
  if (!element.empty() && element.back() == '\n') element.remove_suffix(1);
  return !element.empty() && element.back() == '\r';
}

}  // namespace quelmo
