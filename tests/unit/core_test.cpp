// Texts, fixed fields and on-disk numbers.
#include <gtest/gtest.h>

#include <string>

#include "core/byte_order.h"
#include "core/fixed_text.h"
#include "core/regex.h"
#include "core/text.h"

namespace quelmo {
namespace {

TEST(Text, WordsAreTakenOffWithTheBlanksBehindThem) {
  std::string_view text = "\t one  two\tthree ";
  std::string_view word = "unset";
  std::string words;
  while (next_word(text, word)) words += std::string(word) + "|";
  EXPECT_EQ(words, "one|two|three|");
  EXPECT_EQ(word, "three") << "without a word it stays";
  EXPECT_EQ(split_words(std::string(300, 'x') + " y")[0].size(), 255u);
  EXPECT_EQ(split_words("a b c d", 2).size(), 2u);
}

TEST(Text, SplittingFollowsTheOrderOfTheDelimiters) {
  using Parts = std::vector<std::string_view>;
  EXPECT_EQ(split_at("a%%b%%c%%d", {"%%", "%%"}), (Parts{"a", "b", "c%%d"}));
  EXPECT_EQ(split_at("a:b/c@d", {":", "/", "@"}), (Parts{"a", "b", "c", "d"}));
  EXPECT_EQ(split_at("a@b:c/d", {":", "/", "@"}), (Parts{"a@b", "c", "d"}));
  EXPECT_EQ(split_at("a:b", {":", "/", "@"}), (Parts{"a", "b"}));
  EXPECT_EQ(split_at("abc", {"%"}), Parts{});
  EXPECT_EQ(split_at("", {"%"}), Parts{});
  EXPECT_EQ(split_at("%", {"%"}), (Parts{"", ""}));
}

TEST(Text, SmallTools) {
  struct {
    const char* text;
    const char* unquoted;
    const char* trimmed;
    bool number;
    long value;
  } cases[] = {
      {"", "", "", false, 0},
      {"\"a\"", "a", "\"a\"", false, 0},
      {"'a b'", "a b", "'a b'", false, 0},
      {"\"a'", "\"a'", "\"a'", false, 0},
      {"\"", "\"", "\"", false, 0},
      {"''", "", "''", false, 0},
      {" \t 7 ", " \t 7 ", "7", false, 7},
      {"-12", "-12", "-12", true, -12},
      {"1-2", "1-2", "1-2", true, 1},
      {"-", "-", "-", true, 0},
      {"12k", "12k", "12k", false, 12},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(unquote(c.text), c.unquoted) << c.text;
    EXPECT_EQ(trim_spaces(c.text), c.trimmed) << c.text;
    EXPECT_EQ(is_number(c.text), c.number) << c.text;
    EXPECT_EQ(to_number(c.text), c.value) << c.text;
  }
  EXPECT_EQ(strip_line_end("a\r\n\r"), "a");
  EXPECT_EQ(to_int("4294967297"), INT32_MAX);
  EXPECT_EQ(to_int("-99999999999999999999"), INT32_MIN);
  EXPECT_EQ(upper("a\xE4z\xFF"), "A\xE4Z\xFF") << "only ASCII has cases";
  EXPECT_LT(compare_nocase("abc", "ABCD"), 0);
  EXPECT_GT(compare_nocase("b_", "BA"), 0);
}

TEST(FixedText, CutsAtItsWidthAndAtANul) {
  FixedText<4> field = "abcdef";
  EXPECT_EQ(field.view(), "abc");
  field = std::string_view("a\0b", 3);
  EXPECT_EQ(field.view(), "a");
  EXPECT_EQ(field.size(), 1u);
  field = std::string_view();
  EXPECT_TRUE(field.empty());
  field = "xyz";
  field = field.view().substr(1);
  EXPECT_STREQ(field.c_str(), "yz");
}

struct Record {
  uint16_t a = 0;
  uint32_t b = 0;
  FixedText<5> text;
  uint8_t c = 0;
};

template <class Io>
void fields(Io& io, Record& r) {
  io.u16(r.a);
  io.u32(r.b);
  io.text(r.text, 5);
  io.skip(1);
  io.u8(r.c);
}

TEST(ByteOrder, RecordsComeOutAsTheyWentInAndShortOnesAreTold) {
  Record record{.a = 0x1234, .b = 0x89ABCDEF, .text = "longer", .c = 0xFE};
  ByteWriter writer;
  fields(writer, record);
  const std::string& bytes = writer.bytes();
  EXPECT_EQ(bytes, std::string("\x34\x12\xEF\xCD\xAB\x89long\0\0\xFE", 13));
  for (size_t size = 0; size <= bytes.size(); size++) {
    std::string input = bytes.substr(0, size);
    input.shrink_to_fit();
    Record read;
    ByteReader reader(input);
    fields(reader, read);
    EXPECT_EQ(reader.short_input(), size < bytes.size()) << size;
    EXPECT_EQ(read.a, size >= 2 ? 0x1234 : 0) << size;
    EXPECT_EQ(read.b, size >= 6 ? 0x89ABCDEF : 0) << size;
    EXPECT_EQ(read.c, size == bytes.size() ? 0xFE : 0) << size;
  }
}

TEST(Regex, TextsNeedNoEnd) {
  Regex regex;
  std::string error;
  EXPECT_FALSE(regex.matches("a"));
  ASSERT_TRUE(regex.compile("^b+$", 0, error));
  EXPECT_TRUE(regex.matches(std::string_view("abbc").substr(1, 2)));
  EXPECT_FALSE(regex.matches(""));
  ASSERT_TRUE(regex.compile("^M.LLER$", REG_ICASE, error));
  EXPECT_TRUE(regex.matches("m\xFCller"));
  EXPECT_FALSE(regex.compile("(", 0, error));
  EXPECT_FALSE(error.empty());
}

}  // namespace
}  // namespace quelmo
