#include "bases/dates.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace quelmo {
namespace {

class Dates : public testing::Test {
 protected:
  void SetUp() override { zone("Europe/Berlin"); }
  void TearDown() override { zone("UTC"); }
  static void zone(const char* name) {
    ::setenv("TZ", name, 1);
    set_time_zone();
  }
};

// What the C library makes of the same fields, with nothing remembered.
std::time_t reference(int year, int mon, int mday, int hour, int min, int sec) {
  std::tm t = {};
  t.tm_year = year - 1900;
  t.tm_mon = mon - 1;
  t.tm_mday = mday;
  t.tm_hour = hour;
  t.tm_min = min;
  t.tm_sec = sec;
  t.tm_isdst = -1;
  return std::mktime(&t);
}

TEST_F(Dates, BothTextFormsParse) {
  struct {
    const char* text;
    std::time_t seconds;
  } cases[] = {
      {"01 Jan 99  12:00:00", reference(1999, 1, 1, 12, 0, 0)},
      {"1 JAN 99 12:00:00", reference(1999, 1, 1, 12, 0, 0)},
      {"31 Dec 69  23:59:59", reference(2069, 12, 31, 23, 59, 59)},
      {"02 Jan 70  00:00:00", reference(1970, 1, 2, 0, 0, 0)},
      {"01 Jul 24  12: 5: 9 trailing", reference(2024, 7, 1, 12, 5, 9)},
      {"31 Feb 24  10:00:00", reference(2024, 3, 2, 10, 0, 0)},
      {"01 Jan 99  25:61:00", reference(1999, 1, 2, 2, 1, 0)},
      {"01 Foo 99  12:00:00", 0},
      {"01 Jan 99  12:00", 0},
      {"01 Jan 99  12.00.00", 0},
      {"", 0},
  };
  for (const auto& c : cases) EXPECT_EQ(fts_to_unix(c.text), c.seconds) << c.text;
  EXPECT_EQ(seadog_to_unix("Fri 26 Mar 99 12:05"), reference(1999, 3, 26, 12, 5, 0));
  EXPECT_EQ(seadog_to_unix("Sun 26 Mar 99 12:05"), reference(1999, 3, 26, 12, 5, 0));
  EXPECT_EQ(seadog_to_unix("Xxx 26 Mar 99 12:05"), 0);
  EXPECT_EQ(seadog_to_unix("26 Mar 99  12:05:00"), 0);
}

// Every hour of two years, clock changes and all: what is remembered of a day must not differ from the
// library.
TEST_F(Dates, RememberedDaysAgreeWithTheLibrary) {
  for (int pass = 0; pass < 2; pass++) {
    for (std::time_t t = reference(2023, 1, 1, 0, 30, 15); t < reference(2025, 1, 1, 0, 0, 0); t += 3600) {
      FixedText<20> text = unix_to_fts(t);
      char expected[20];
      std::tm local = {};
      ::localtime_r(&t, &local);
      std::strftime(expected, sizeof expected, "%d %b %y  %X", &local);
      ASSERT_EQ(text.str(), expected);
      std::tm fields = local;
      fields.tm_isdst = -1;
      ASSERT_EQ(fts_to_unix(text), std::mktime(&fields)) << expected;
    }
  }
}

TEST_F(Dates, PackedStamps) {
  std::time_t t = reference(2024, 5, 17, 13, 45, 31);
  uint32_t stamp = unix_to_sqate(t);
  EXPECT_EQ(stamp & 0xFFFF, 17U | 5U << 5 | 44U << 9);
  EXPECT_EQ(stamp >> 16, 15U | 45U << 5 | 13U << 11);
  EXPECT_EQ(sqdate_to_unix(stamp), t - 1);
  EXPECT_EQ(sqdate_to_unix(0), 0);
  EXPECT_EQ(dosdate_to_unix(0, 0), reference(1980, 0, 0, 0, 0, 0));
}

TEST_F(Dates, OffsetIsTheDifferenceOfTheHours) {
  zone("Asia/Tokyo");
  EXPECT_EQ((utc_offset_hours() + 24) % 24, 9);
  zone("UTC");
  EXPECT_EQ(utc_offset_hours(), 0);
}

}  // namespace
}  // namespace quelmo
