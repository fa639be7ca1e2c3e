// Tables between the code page of the network and the local one, from mapchan files: text, a mapping to a
// line, source and target value (decimal, 0x hexadecimal, or octal with a leading 0), words parted by blanks
// and "#".
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace quelmo {

using RecodeTable = std::array<uint8_t, 256>;

struct Recoding {
  RecodeTable in_table;   ///< INTAB, for RecodeIn
  RecodeTable out_table;  ///< OUTTAB, for RecodeOut
};
extern Recoding recoding;

/// Makes both tables anew: the identity, and the mappings of the files that the configuration names.
void init_recoding();

/// Adds the mappings of a file. A line without two numbers maps nothing, and so does one with a 0. What is
/// wrong goes to stderr and ends the reading; the mappings so far stay.
void getctab(RecodeTable& table, const std::string& file);

/// Maps each byte.
void recode(const RecodeTable& table, std::string& bytes);

}  // namespace quelmo
