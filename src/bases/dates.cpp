#include "bases/dates.h"

#include <array>
#include <iterator>
#include <optional>

#include "core/log.h"
#include "core/text.h"
#include "platform/clock.h"

namespace quelmo {
namespace {

constexpr std::string_view months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::string_view weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::time_t day_seconds = 86400;

// A local day without a change of the clock. mktime and localtime look at the zone's table, and at its file,
// each time; a message's date mostly falls on a day that was asked for before.
struct LocalDay {
  int year = 0;  // as in tm
  int mon = 0;
  int mday = 0;  // 0: nothing is known
  std::time_t start = 0;
};

struct ZoneMemory {
  std::array<LocalDay, 512> days;  // by a hash of the date
  LocalDay last;                   // the day of the last conversion
  std::optional<int> offset_hours;
};
ZoneMemory zone;

std::time_t to_unix(std::tm fields) {
  fields.tm_isdst = -1;
  return std::mktime(&fields);
}

bool is_plain_date(const std::tm& t) {
  constexpr int month_days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return t.tm_mon >= 0 && t.tm_mon < 12 && t.tm_mday >= 1 && t.tm_mday <= month_days[t.tm_mon] &&
         t.tm_hour >= 0 && t.tm_hour < 24 && t.tm_min >= 0 && t.tm_min < 60 && t.tm_sec >= 0 && t.tm_sec < 60;
}

// What sscanf takes for "%hd" and "%s": blanks are skipped ahead of each.
class DateScanner {
 public:
  explicit DateScanner(std::string_view text) : text_(text) {}

  bool number(int& value) {
    skip_space();
    size_t digits = !text_.empty() && (text_[0] == '-' || text_[0] == '+') ? 1 : 0;
    size_t end = digits;
    while (end < text_.size() && text_[end] >= '0' && text_[end] <= '9') end++;
    if (end == digits) return false;
    value = static_cast<int16_t>(to_number(text_.substr(0, end)));
    text_.remove_prefix(end);
    return true;
  }
  bool word(std::string_view& value) {
    skip_space();
    size_t end = 0;
    while (end < text_.size() && !is_space(text_[end])) end++;
    value = text_.substr(0, end);
    text_.remove_prefix(end);
    return end > 0;
  }
  bool colon() {
    if (text_.empty() || text_[0] != ':') return false;
    text_.remove_prefix(1);
    return true;
  }

 private:
  static bool is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
  void skip_space() {
    while (!text_.empty() && is_space(text_[0])) text_.remove_prefix(1);
  }

  std::string_view text_;
};

std::time_t from_scanned(std::tm& fields, std::string_view month) {
  constexpr int century_turn = 70;
  fields.tm_mon = month_index(month);
  if (fields.tm_mon < 0) return 0;
  if (fields.tm_year < century_turn) fields.tm_year += 100;
  return local_to_unix(fields);
}

int index_in(const std::string_view* names, size_t count, std::string_view name) {
  for (size_t i = 0; i < count; i++) {
    if (equal_nocase(names[i], name)) return static_cast<int>(i);
  }
  return -1;
}

void put_two(char* at, int value) {
  at[0] = static_cast<char>('0' + value / 10 % 10);
  at[1] = static_cast<char>('0' + value % 10);
}

}  // namespace

void set_time_zone() {
  ::tzset();
  zone = ZoneMemory();
}

FixedText<20> unix_to_fts(std::time_t t) {
  std::tm fields = {};
  std::time_t seconds = t - zone.last.start;
  if (zone.last.mday != 0 && seconds >= 0 && seconds < day_seconds) {
    fields.tm_year = zone.last.year;
    fields.tm_mon = zone.last.mon;
    fields.tm_mday = zone.last.mday;
    fields.tm_hour = static_cast<int>(seconds / 3600);
    fields.tm_min = static_cast<int>(seconds / 60 % 60);
    fields.tm_sec = static_cast<int>(seconds % 60);
  } else {
    fields = local_time(t);
  }
  char text[] = "dd Mon yy  hh:mm:ss";
  put_two(text, fields.tm_mday);
  months[fields.tm_mon].copy(text + 3, 3);
  put_two(text + 7, (fields.tm_year % 100 + 100) % 100);
  put_two(text + 11, fields.tm_hour);
  put_two(text + 14, fields.tm_min);
  put_two(text + 17, fields.tm_sec);
  return std::string_view(text);
}

FixedText<20> now_to_fts() {
  return unix_to_fts(std::time(nullptr));
}

std::time_t fts_to_unix(std::string_view text) {
  DateScanner scan(text);
  std::tm fields = {};
  std::string_view month;
  if (!scan.number(fields.tm_mday) || !scan.word(month) || !scan.number(fields.tm_year) ||
      !scan.number(fields.tm_hour) || !scan.colon() || !scan.number(fields.tm_min) || !scan.colon() ||
      !scan.number(fields.tm_sec)) {
    return 0;
  }
  return from_scanned(fields, month);
}

std::time_t seadog_to_unix(std::string_view text) {
  DateScanner scan(text);
  std::tm fields = {};
  std::string_view weekday;
  std::string_view month;
  if (!scan.word(weekday) || !scan.number(fields.tm_mday) || !scan.word(month) ||
      !scan.number(fields.tm_year) || !scan.number(fields.tm_hour) || !scan.colon() ||
      !scan.number(fields.tm_min) || is_weekday(weekday) == 0) {
    return 0;
  }
  return from_scanned(fields, month);
}

std::time_t text_to_unix(std::string_view text) {
  std::time_t time = fts_to_unix(text);
  return time != 0 ? time : seadog_to_unix(text);
}

std::time_t local_to_unix(const std::tm& t) {
  if (!is_plain_date(t)) return to_unix(t);
  auto hash = static_cast<size_t>(t.tm_year * 372 + t.tm_mon * 31 + t.tm_mday) % zone.days.size();
  LocalDay& day = zone.days[hash];
  if (day.mday != t.tm_mday || day.mon != t.tm_mon || day.year != t.tm_year) {
    std::tm midnight = {};
    midnight.tm_year = t.tm_year;
    midnight.tm_mon = t.tm_mon;
    midnight.tm_mday = t.tm_mday;
    std::time_t start = to_unix(midnight);
    midnight.tm_mday++;
    if (to_unix(midnight) - start != day_seconds) return to_unix(t);
    day = {.year = t.tm_year, .mon = t.tm_mon, .mday = t.tm_mday, .start = start};
  }
  zone.last = day;
  return day.start + t.tm_hour * 3600L + t.tm_min * 60L + t.tm_sec;
}

int month_index(std::string_view name) {
  return index_in(months, std::size(months), name);
}

int is_weekday(std::string_view name) {
  return index_in(weekdays, std::size(weekdays), name) >= 0 ? 1 : 0;
}

std::time_t dosdate_to_unix(uint16_t time, uint16_t date) {
  std::tm fields = {};
  fields.tm_mday = date & 0x1F;
  fields.tm_mon = (date >> 5 & 0x0F) - 1;
  fields.tm_year = (date >> 9) + 80;
  fields.tm_sec = (time & 0x1F) * 2;
  fields.tm_min = time >> 5 & 0x3F;
  fields.tm_hour = time >> 11;
  return local_to_unix(fields);
}

void unix_to_dosdate(uint16_t& time, uint16_t& date, std::time_t t) {
  std::tm fields = local_time(t);
  date = static_cast<uint16_t>(fields.tm_mday | (fields.tm_mon + 1) << 5 | (fields.tm_year - 80) << 9);
  time = static_cast<uint16_t>(fields.tm_sec / 2 | fields.tm_min << 5 | fields.tm_hour << 11);
}

std::time_t sqdate_to_unix(uint32_t stamp) {
  if (stamp == 0) return 0;
  return dosdate_to_unix(static_cast<uint16_t>(stamp >> 16), static_cast<uint16_t>(stamp & 0xFFFF));
}

uint32_t unix_to_sqate(std::time_t t) {
  std::tm unused = {};
  if (::localtime_r(&t, &unused) == nullptr) log_line(4, "unix_to_sqate failed, set current time\n");
  uint16_t time = 0;
  uint16_t date = 0;
  unix_to_dosdate(time, date, t);
  return static_cast<uint32_t>(time) << 16 | date;
}

int utc_offset_hours() {
  if (!zone.offset_hours) {
    std::time_t now = std::time(nullptr);
    std::tm utc = {};
    ::gmtime_r(&now, &utc);
    int hours = local_time(now).tm_hour - utc.tm_hour;
    if (hours + 12 < 0) hours += 24;
    zone.offset_hours = hours;
  }
  return *zone.offset_hours;
}

}  // namespace quelmo
