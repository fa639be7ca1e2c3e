#include "platform/file_window.h"

#include <algorithm>

namespace quelmo {

std::optional<std::string_view> FileWindow::at(const Fd& file, uint64_t position, size_t size) {
  bool held = position >= start_ && position - start_ <= filled_ && filled_ - (position - start_) >= size;
  if ((!held || filled_ == 0) && !fill(file, position, size)) return std::nullopt;
  size_t offset = static_cast<size_t>(position - start_);
  return std::string_view(buffer_.get() + offset, std::min(size, filled_ - offset));
}

bool FileWindow::fill(const Fd& file, uint64_t position, size_t size) {
  bool goes_on = filled_ != 0 && position >= start_ && position <= start_ + filled_ + ahead;
  reach_ = goes_on ? std::min(2 * reach_, ahead) : jump;
  size_t wanted = goes_on ? std::max(size, reach_) : size + jump;
  if (wanted > room_) {
    buffer_ = std::make_unique_for_overwrite<char[]>(wanted);
    room_ = wanted;
  }
  filled_ = 0;
  ssize_t got = read_at(file, buffer_.get(), wanted, position);
  if (got < 0) return false;
  start_ = position;
  filled_ = static_cast<size_t>(got);
  return true;
}

}  // namespace quelmo
