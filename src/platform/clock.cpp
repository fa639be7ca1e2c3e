#include "platform/clock.h"

namespace quelmo {
namespace {

uint32_t last_stamp = 0;

}  // namespace

std::tm local_time(std::time_t t) {
  std::tm fields = {};
  if (::localtime_r(&t, &fields) != nullptr) return fields;
  std::time_t now = std::time(nullptr);
  ::localtime_r(&now, &fields);
  return fields;
}

std::tm local_time() {
  return local_time(std::time(nullptr));
}

int64_t clock_ms() {
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

void sleep_ms(int milliseconds) {
  timespec span = {.tv_sec = milliseconds / 1000, .tv_nsec = (milliseconds % 1000) * 1000000L};
  ::nanosleep(&span, nullptr);
}

uint32_t unique_stamp() {
  constexpr int longest_wait_ms = 1000;
  for (int waited = 0; waited <= longest_wait_ms; waited++) {
    int64_t now = clock_ms();
    auto stamp = static_cast<uint32_t>((now / 1000) << 7 | (now % 1000) / 10);
    if (stamp > last_stamp) return last_stamp = stamp;
    sleep_ms(1);
  }
  return ++last_stamp;
}

}  // namespace quelmo
