#include <ctime>

#include "core/text.h"
#include "message/attributes.h"
#include "platform/clock.h"
#include "select/block_parsers.h"
#include "select/predicate_helpers.h"

namespace quelmo {
namespace {

// `age [address]` of a message whose time is `when`.
bool age_fits(const SelectQuery& query, std::time_t when, int32_t age, const FtnAddr& pattern) {
  return older_than(when, age) && comp_aadrs(side_address(query), pattern);
}

bool direct_age(const SelectQuery& query, std::time_t when) {
  std::string_view rest = query.data;
  std::string_view word = take_word(rest);
  int32_t age = 0;
  if (!parse_age(word, age)) {
    stop_run("select_msgage error: (direct data), incorrect age : `%s'", std::string(word).c_str());
  }
  FtnAddr pattern = any_address();
  if (!rest.empty() && addr_parse_wild(rest, pattern) == 0) {
    stop_run("select_msgage error: (direct data) incorrect address : `%s'\n", std::string(rest).c_str());
  }
  return age_fits(query, when, age, pattern);
}

bool length_fits(const SelectQuery& query, int64_t limit, const FtnAddr& pattern) {
  return comp_aadrs(side_address(query), pattern) && (query.relaxed || limit < message_length());
}

bool direct_msglen(const SelectQuery& query) {
  std::string_view rest = query.data;
  std::string_view word = take_word(rest);
  if (!is_number(word)) {
    stop_run("select_msglen error: incorrect length: %s", std::string(word).c_str());
  }
  FtnAddr pattern = any_address();
  if (!rest.empty() && addr_parse_wild(rest, pattern) == 0) {
    stop_run("select_msglen error: incorrect address: `%s'\n", std::string(rest).c_str());
  }
  return length_fits(query, to_number(word), pattern);
}

bool day_fits(const std::vector<int>& dow, const std::tm& now) {
  return dow.empty() || std::ranges::find(dow, now.tm_wday + 1) != dow.end();
}

bool date_fits(const DateEntry& date, const std::tm& now) {
  auto fits = [](int part, int value) { return part == any_date_part || part == value; };
  return fits(date.day, now.tm_mday) && fits(date.month, now.tm_mon) && fits(date.year, now.tm_year) &&
         day_fits(date.dow, now);
}

bool direct_date(const SelectQuery& query) {
  std::string_view rest = query.data;
  std::string_view word = take_word(rest);
  DateEntry date;
  if (!parse_date(word, date)) {
    stop_run("select_date error: incorrect date: `%s'", std::string(word).c_str());
  }
  if (!parse_days_of_week(rest, date.dow)) {
    stop_run("select_date error: incorrect day of week: `%s'", std::string(rest).c_str());
  }
  return date_fits(date, local_time());
}

bool direct_dow(const SelectQuery& query) {
  std::vector<int> dow;
  if (!parse_days_of_week(query.data, dow)) {
    stop_run("select_dow error: incorrect day of week: `%s'", std::string(query.data).c_str());
  }
  return day_fits(dow, local_time());
}

}  // namespace

bool older_than(std::time_t when, int32_t age) {
  int64_t limit = std::max<int64_t>(std::time(nullptr) - int64_t{age}, 0);
  return static_cast<uint32_t>(when) < static_cast<uint32_t>(limit);
}

bool select_date(const SelectQuery& query) {
  if (query.direct) return direct_date(query);
  return any_entry(blocks.date, query, "select_date error: no such <Data Date>",
                   [](const DateEntry& entry) { return date_fits(entry, local_time()); });
}

bool select_dow(const SelectQuery& query) {
  if (query.direct) return direct_dow(query);
  return any_entry(blocks.dayofweek, query, "select_dow error: no such <Data DayOfWeek>",
                   [](const DayOfWeekEntry& entry) { return day_fits(entry.dow, local_time()); });
}

bool select_msgage(const SelectQuery& query) {
  std::time_t when = current.hdr.time;
  if (query.direct) return direct_age(query, when);
  return any_entry(blocks.messageage, query, "select_msgage error: no such <Data MsgAge>",
                   [&](const AgeEntry& entry) { return age_fits(query, when, entry.age, entry.address); });
}

bool select_msglen(const SelectQuery& query) {
  if (query.direct) return direct_msglen(query);
  return any_entry(blocks.messagelength, query, "select_msglen error: no such <Data MessageLenth>",
                   [&](const LengthEntry& entry) { return length_fits(query, entry.length, entry.address); });
}

bool select_prage(const SelectQuery& query) {
  std::time_t when = current.hdr.viatime;
  if (!current.hdr.has(int_lastvia) || when == 0) return false;
  if (query.direct) return direct_age(query, when);
  return any_entry(blocks.processage, query, "select_prage error: no such <Data ProcessAge>",
                   [&](const AgeEntry& entry) { return age_fits(query, when, entry.age, entry.address); });
}

}  // namespace quelmo
