// The table of data types: the words that a DATA line, and the "@" of a select string, may name.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace quelmo {

// Index in the table.
enum DataTypeId : int {
  type_address = 0,
  type_addressattr,
  type_addressname,
  type_addresspacker,
  type_alias,
  type_attribute,
  type_binksemaphor,
  type_condition,
  type_date,
  type_dateaddress,
  type_dayofweek,
  type_event,
  type_fdsemaphor,
  type_fileage,
  type_fileareas,
  type_files,
  type_lengthaddress,
  type_pktlength,
  type_macro,
  type_messageage,
  type_messagelength,
  type_name,
  type_nodelist,
  type_nodelist4d,
  type_passwordaddress,
  type_passwordname,
  type_path,
  type_processage,
  type_readdresslist,
  type_readdressname,
  type_rename,
  type_routing,
  type_strings,
  type_subject,
  type_subjectaddress,
  type_system,
  type_textstring,
  type_timeslot,
  type_version9,
  type_kludge,
  type_echoname,
  data_type_count,
};

/// Takes one line of a block: parses it and adds it to the block of this tag, which it makes if need be.
/// `prefix` stands in front of its messages. A line that can't be parsed stops the run.
using BlockHandler = void (*)(std::string_view tag, std::string_view line, const std::string& prefix);

struct DataType {
  DataTypeId id;
  const char* name;
  BlockHandler handler;  ///< null: lines of this type are accepted and dropped
};

std::span<const DataType> data_types();

/// Index of a type name, ignoring case; -1 if it is unknown.
int data_type_id(std::string_view name);

}  // namespace quelmo
