// The store of data blocks: named lists of lines of the configuration, parsed. Blocks stand in the order of
// their definition, entries in the order of their lines; every test stops at the first entry that decides.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "core/address.h"
#include "core/fixed_text.h"
#include "core/regex.h"
#include "platform/bytes_case.h"

namespace quelmo {

struct AddressEntry {
  FtnAddr address;
};

struct AddressNameEntry {
  FtnAddr address;
  FixedText<36> name;
  Regex regex;  ///< compiled if regular expressions were on; then `name` isn't looked at
};

struct AddressPackerEntry {
  FtnAddr address;
  FixedText<20> packer;
  int32_t maxlen = 0;    ///< bytes, 0 for none
  FixedText<256> attrs;  ///< attribute words as written
};

struct AttributeEntry {
  std::vector<FixedText<20>> words;  ///< upper case, each with its "!" if it had one; all must hold
};

constexpr int any_date_part = 0xFFFF;

struct DateEntry {
  int day = any_date_part;    ///< 1 to 31
  int month = any_date_part;  ///< 0 to 11
  int year = any_date_part;   ///< years since 1900
  std::vector<int> dow;       ///< at most 7 of 1 Sunday to 7 Saturday
};

struct DayOfWeekEntry {
  std::vector<int> dow;
};

struct FileAgeEntry {
  int32_t age = 0;  ///< seconds
  std::vector<FixedText<256>> names;
};

struct FileName {
  FixedText<256> name;  ///< with its "!" and directory
  FixedText<256> dir;
  Regex regex;
};

struct FilesEntry {
  std::vector<FileName> names;  ///< all must test true
};

struct KludgeWord {
  FixedText<128> pattern;  ///< 0x01 and the word
  bool wanted = true;      ///< false when the word had "!"
  Regex regex;
};

struct KludgeEntry {
  std::vector<KludgeWord> words;  ///< all must agree
};

/// LENGTHADDRESS, PKTLENGTH, MESSAGELENGTH.
struct LengthEntry {
  int32_t length = 0;  ///< bytes
  FtnAddr address;
};

/// MESSAGEAGE, PROCESSAGE.
struct AgeEntry {
  int32_t age = 0;  ///< seconds
  FtnAddr address;
};

template <size_t N>
struct TextEntry {
  FixedText<N> text;
  Regex regex;  ///< compiled if regular expressions were on; then `text` isn't looked at
};
using NameEntry = TextEntry<36>;
using SubjectEntry = TextEntry<72>;
using TextStringEntry = TextEntry<256>;
using EchoNameEntry = TextEntry<20>;

struct PasswordAddressEntry {
  FixedText<10> password;
  FtnAddr address;
};

struct PasswordNameEntry {
  FixedText<9> password;
  FixedText<36> name;
};

struct PathEntry {
  FixedText<128> path;
};

struct ReaddressEntry {
  FtnAddr from;
  FtnAddr to;
};

struct SystemEntry {
  FtnAddr address;
  FixedText<64> domain;
  std::vector<uint16_t> zones;  ///< at most 20
};

struct RoutingRule {
  std::vector<uint16_t> flavors;  ///< at most 10 bits of the flavour table; with flavor_off to clear the bit
  FtnAddr dest;
  std::vector<FtnAddr> targets;
};
constexpr uint16_t flavor_off = 0x1000;

/// A line of a NODELIST or VERSION9 block.
struct NodelistEntry {
  FixedText<128> ext;              ///< extension of the index files
  uint16_t zone = 0;               ///< default zone
  uint16_t region = 0;             ///< default region
  FixedText<128> path;             ///< directory of lists and index, with a closing separator
  FixedText<256> templates;        ///< file templates as written
  std::vector<std::string> names;  ///< the files that they named when they were resolved last
};

struct MacroEntry {
  FixedText<20> name;
  FixedText<256> text;
};

template <class Entry>
struct Block {
  FixedText<20> tag;
  std::vector<Entry> entries;
  bool active = true;  ///< nodelists can be switched off
};

template <class Entry>
using BlockList = std::vector<Block<Entry>>;

using NodelistBlock = Block<NodelistEntry>;

struct DataBlocks {
  BlockList<AddressEntry> address;
  BlockList<AddressNameEntry> addressname;
  BlockList<AddressPackerEntry> addresspacker;
  BlockList<AttributeEntry> attribute;
  BlockList<DateEntry> date;
  BlockList<DayOfWeekEntry> dayofweek;
  BlockList<FileAgeEntry> fileage;
  BlockList<FilesEntry> files;
  BlockList<LengthEntry> lengthaddress;
  BlockList<LengthEntry> pktlength;
  BlockList<AgeEntry> messageage;
  BlockList<LengthEntry> messagelength;
  BlockList<NameEntry> name;
  BlockList<NodelistEntry> nodelist;
  BlockList<PasswordAddressEntry> passwordaddress;
  BlockList<PasswordNameEntry> passwordname;
  BlockList<PathEntry> path;
  BlockList<AgeEntry> processage;
  BlockList<ReaddressEntry> readdresslist;
  BlockList<RoutingRule> routing;
  BlockList<SubjectEntry> subject;
  BlockList<SystemEntry> system;
  BlockList<TextStringEntry> textstring;
  BlockList<NodelistEntry> version9;
  BlockList<KludgeEntry> kludge;
  BlockList<EchoNameEntry> echoname;
  std::vector<MacroEntry> macros;  ///< a flat list: the tag of a MACRO section plays no part
};

/// All blocks of the run; the clean-up assigns an empty value.
extern DataBlocks blocks;

/// The block of this tag, ignoring case; null if there is none.
template <class Entry>
Block<Entry>* find_block(BlockList<Entry>& list, std::string_view tag) {
  for (Block<Entry>& block : list) {
    if (equal_nocase(block.tag, tag)) return &block;
  }
  return nullptr;
}

}  // namespace quelmo
