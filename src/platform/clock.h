// The clock. Scripts and stores speak of local time; see bases/dates.h for the stored forms.
#pragma once

#include <cstdint>
#include <ctime>

namespace quelmo {

/// Local time of now, and of `t`; a `t` that has none gives the local time of now.
std::tm local_time();
std::tm local_time(std::time_t t);
/// Milliseconds since the epoch.
int64_t clock_ms();
void sleep_ms(int milliseconds);

/// A number greater than every one that this run gave before: seconds since the epoch shifted left by 7,
/// or'ed with the hundredths of the second. It waits for the next hundredth if it must, but no longer than a
/// second (the clock was set back, the 32 bits wrapped): then it counts on from the last value.
uint32_t unique_stamp();

}  // namespace quelmo
