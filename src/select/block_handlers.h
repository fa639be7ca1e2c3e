// The handlers of data block lines, one for each data type that has entries: see `BlockHandler` in
// data_types.h, whose table they stand in. Each registers the tag, parses the line and adds one entry to
// `blocks` (data_blocks.h).
#pragma once

#include <string>
#include <string_view>

namespace quelmo {

// Addresses and what belongs to them (block_handlers_address.cpp).
void handle_address(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_addressname(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_addresspacker(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_passwordaddress(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_passwordname(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_readdresslist(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_routing(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_system(std::string_view tag, std::string_view line, const std::string& prefix);

// Texts and words (block_handlers_text.cpp).
void handle_attribute(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_echoname(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_kludge(std::string_view tag, std::string_view line, const std::string& prefix);
/// Adds the macro, or gives the one of its name this text; the tag plays no part.
void handle_macro(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_name(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_subject(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_textstring(std::string_view tag, std::string_view line, const std::string& prefix);

// Limits and times (block_handlers_limits.cpp).
void handle_date(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_dayofweek(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_lengthaddress(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_messageage(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_messagelength(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_pktlength(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_processage(std::string_view tag, std::string_view line, const std::string& prefix);

// Files and directories (block_handlers_files.cpp).
void handle_fileage(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_files(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_nodelist(std::string_view tag, std::string_view line, const std::string& prefix);
/// A directory that doesn't exist is only logged.
void handle_path(std::string_view tag, std::string_view line, const std::string& prefix);
void handle_version9(std::string_view tag, std::string_view line, const std::string& prefix);

}  // namespace quelmo
