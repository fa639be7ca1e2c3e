// Message dates: the text of FTS-0001 messages and packets ("01 Jan 99  12:00:00"), the text of SEAdog
// ("Fri 26 Mar 99 12:05"), the packed stamps of DOS directories and Squish bases, and seconds since the
// epoch. All stored forms are local time.
#pragma once

#include <cstdint>
#include <ctime>
#include <string_view>

#include "core/fixed_text.h"

namespace quelmo {

/// Takes the time zone from the environment and forgets what was worked out for another one. Called at the
/// start.
void set_time_zone();

/// The date text of `t`; of now if `t` has no local time.
FixedText<20> unix_to_fts(std::time_t t);
FixedText<20> now_to_fts();

/// Seconds of a date text; 0 if it doesn't parse. Two-digit years below 70 are of this century.
std::time_t fts_to_unix(std::string_view text);
std::time_t seadog_to_unix(std::string_view text);
/// The first of the two forms, else the second.
std::time_t text_to_unix(std::string_view text);

/// Seconds of a local date and time; fields out of range carry over, as in mktime.
std::time_t local_to_unix(const std::tm& fields);

/// 0 to 11, ignoring case; -1 for an unknown name.
int month_index(std::string_view name);
/// 1 for the English abbreviation of a day of the week, ignoring case.
int is_weekday(std::string_view name);

/// Packed stamp with the date word (day, month << 5, years since 1980 << 9) in its low half and the time word
/// (seconds / 2, minutes << 5, hours << 11) in its high half. 0 is no date, and gives 0.
std::time_t sqdate_to_unix(uint32_t stamp);
uint32_t unix_to_sqate(std::time_t t);

/// The same two words apart, without a test for zero.
std::time_t dosdate_to_unix(uint16_t time, uint16_t date);
void unix_to_dosdate(uint16_t& time, uint16_t& date, std::time_t t);

/// Whole hours of local time minus UTC: the difference of the two clocks' hours, plus 24 if it is below -12.
/// Worked out once.
int utc_offset_hours();

}  // namespace quelmo
