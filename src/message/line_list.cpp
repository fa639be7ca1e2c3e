#include "message/line_list.h"

#include <cstring>
#include <functional>

namespace quelmo {

LineList::Element LineList::store(std::string_view text) {
  text = text.substr(0, element_limit);
  size_t at = bytes_.size();
  // append copes with a text that lies in the buffer itself.
  bytes_.append(text);
  return {at, text.size()};
}

void LineList::append(std::string_view text) {
  elements_.push_back(store(text));
}

void LineList::set(size_t i, std::string_view text) {
  elements_[i] = store(text);
}

void LineList::insert(size_t at, std::string_view text) {
  Element element = store(text);
  elements_.insert(elements_.begin() + static_cast<std::ptrdiff_t>(at), element);
}

void LineList::insert(size_t at, const LineList& lines) {
  std::vector<Element> fresh;
  fresh.reserve(lines.size());
  for (size_t i = 0; i < lines.size(); i++) fresh.push_back(store(lines[i]));
  elements_.insert(elements_.begin() + static_cast<std::ptrdiff_t>(at), fresh.begin(), fresh.end());
}

void LineList::erase(size_t first, size_t count) {
  auto start = elements_.begin() + static_cast<std::ptrdiff_t>(first);
  elements_.erase(start, start + static_cast<std::ptrdiff_t>(count));
}

void LineList::clear() {
  elements_.clear();
  bytes_.clear();
}

void LineList::append_split(std::string_view text) {
  size_t base = bytes_.size();
  bytes_ += text;
  size_t at = 0;
  while (at < text.size()) {
    size_t room = std::min(element_limit, text.size() - at);
    const void* cr = std::memchr(text.data() + at, '\r', room);
    size_t length = room;
    if (cr != nullptr) {
      length = static_cast<size_t>(static_cast<const char*>(cr) - (text.data() + at)) + 1;
      bool lf = at + length < text.size() && text[at + length] == '\n';
      if (lf && length < element_limit) {
        length++;
      } else if (lf) {
        length--;
      }
    }
    elements_.emplace_back(base + at, length);
    at += length;
  }
}

size_t LineList::length() const {
  size_t sum = 0;
  for (const Element& element : elements_) sum += element.length();
  return sum;
}

void LineList::join_to(std::string& out) const {
  for (const Element& element : elements_) out.append(bytes_, element.at(), element.length());
}

}  // namespace quelmo
