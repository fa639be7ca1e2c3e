#include "core/stop.h"
#include "core/text.h"
#include "select/block_handlers.h"
#include "select/block_parsers.h"

namespace quelmo {
namespace {

void check_days(std::string_view line, const std::string& prefix, std::vector<int>& dow) {
  if (!parse_days_of_week(line, dow)) {
    stop_run_logged("%s incorrect day of week: `%s'", prefix.c_str(), std::string(line).c_str());
  }
}

// `length address`; the address may be left out if `optional`.
void handle_length(DataTypeId type, BlockList<LengthEntry>& list, bool optional, std::string_view tag,
                   std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type, tag, prefix);
  LengthEntry entry = {.address = any_address()};
  std::string_view length = take_word(line);
  if (!parse_length(length, entry.length)) {
    stop_run_logged("%s incorrect length (%s) for tagname %s", prefix.c_str(), std::string(length).c_str(),
                    stored.c_str());
  }
  bool left_out = optional && line.empty();
  if (!left_out && addr_parse_wild(line, entry.address) == 0) {
    stop_run_logged("%s incorrect address `%s' for tagname: `%s'\n", prefix.c_str(),
                    std::string(line).c_str(), stored.c_str());
  }
  add_entry(list, stored, entry);
}

// `age [address]`.
void handle_age(DataTypeId type, BlockList<AgeEntry>& list, std::string_view tag, std::string_view line,
                const std::string& prefix) {
  constexpr size_t address_width = 63;
  AgeEntry entry = {.age = block_age(take_word(line), prefix), .address = any_address()};
  FixedText<20> stored = open_block(type, tag, prefix);
  if (!line.empty()) entry.address = block_address(take_word(line).substr(0, address_width), prefix);
  add_entry(list, stored, entry);
}

}  // namespace

void handle_date(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_date, tag, prefix);
  DateEntry entry;
  std::string_view date = take_word(line);
  if (!parse_date(date, entry)) {
    stop_run_logged("%s incorrect date: `%s'", prefix.c_str(), std::string(date).c_str());
  }
  check_days(line, prefix, entry.dow);
  add_entry(blocks.date, stored, std::move(entry));
}

void handle_dayofweek(std::string_view tag, std::string_view line, const std::string& prefix) {
  FixedText<20> stored = open_block(type_dayofweek, tag, prefix);
  DayOfWeekEntry entry;
  check_days(line, prefix, entry.dow);
  add_entry(blocks.dayofweek, stored, std::move(entry));
}

void handle_lengthaddress(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_length(type_lengthaddress, blocks.lengthaddress, false, tag, line, prefix);
}

void handle_messageage(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_age(type_messageage, blocks.messageage, tag, line, prefix);
}

void handle_messagelength(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_length(type_messagelength, blocks.messagelength, true, tag, line, prefix);
}

void handle_pktlength(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_length(type_pktlength, blocks.pktlength, false, tag, line, prefix);
}

void handle_processage(std::string_view tag, std::string_view line, const std::string& prefix) {
  handle_age(type_processage, blocks.processage, tag, line, prefix);
}

}  // namespace quelmo
