#include "message/line_list.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "message/text_edit.h"

namespace quelmo {
namespace {

std::vector<std::string> elements(const LineList& list) {
  std::vector<std::string> out;
  for (std::string_view element : list) out.emplace_back(element);
  return out;
}

LineList list_of(const std::vector<std::string>& lines) {
  LineList list;
  for (const std::string& line : lines) list.append(line);
  return list;
}

std::string xs(size_t count) {
  return std::string(count, 'x');
}

TEST(LineList, SplitsAtLineEndsAndWidth) {
  struct {
    std::string text;
    std::vector<std::string> pieces;
  } cases[] = {
      {"", {}},
      {"a\rb", {"a\r", "b"}},
      {"a\r\nb\n\r", {"a\r\n", "b\n\r"}},
      {"\r\r\n", {"\r", "\r\n"}},
      {xs(254) + "\ry", {xs(254) + "\r", "y"}},
      {xs(255) + "\ry", {xs(255), "\r", "y"}},
      {xs(600) + "\r", {xs(255), xs(255), xs(90) + "\r"}},
      // CR LF that doesn't fit whole goes on to the next element, and no byte is lost.
      {xs(253) + "\r\ny", {xs(253) + "\r\n", "y"}},
      {xs(254) + "\r\ny", {xs(254), "\r\n", "y"}},
      {xs(255) + "\r\ny", {xs(255), "\r\n", "y"}},
  };
  for (const auto& c : cases) {
    LineList list;
    list.split(c.text);
    EXPECT_EQ(elements(list), c.pieces);
    std::string joined;
    list.join_to(joined);
    EXPECT_EQ(joined, c.text);
    EXPECT_EQ(list.length(), c.text.size());
  }
}

TEST(LineList, EditsKeepTheOtherElements) {
  LineList list = list_of({"one\r", "two\r", "three\r"});
  list.set(1, list[0]);  // a text of the list itself
  list.insert(1, list_of({"a\r", "b\r"}));
  list.erase(0);
  list.insert(list.size(), xs(300));
  LineList copy = list;
  list.set_byte(0, 0, '@');
  EXPECT_EQ(elements(list), (std::vector<std::string>{"@\r", "b\r", "one\r", "three\r", xs(255)}));
  EXPECT_EQ(elements(copy), (std::vector<std::string>{"a\r", "b\r", "one\r", "three\r", xs(255)}));
}

TEST(TextEdit, AddTextFindsItsPlace) {
  const std::vector<std::string> message = {
      "AREA:X\r", "\x01MSGID: 1\r", "b1\r",           xs(255),        "b2\r",
      "\r",       "--- t\r",        " * Origin: o\r", "SEEN-BY: 1\r", "\x01Via x\r"};
  struct {
    int pos;
    Count count;
    size_t at;
  } cases[] = {
      {at_end, Count::body, 8}, {at_end, Count::all, 10}, {1, Count::body, 2},  {2, Count::body, 3},
      {3, Count::body, 5},      {4, Count::body, 6},      {99, Count::body, 6}, {1, Count::all, 0},
      {4, Count::all, 3},       {99, Count::all, 10},     {0, Count::body, 0},
  };
  for (const auto& c : cases) {
    LineList list = list_of(message);
    add_text(list, list_of({"new\r"}), c.pos, c.count);
    std::vector<std::string> expected = message;
    expected.insert(expected.begin() + static_cast<std::ptrdiff_t>(c.at), "new\r");
    EXPECT_EQ(elements(list), expected) << "pos " << c.pos;
  }
  // The pieces of a long kludge are no body lines.
  LineList list = list_of({"\x01LONG" + xs(250), xs(20) + "\r", "body\r"});
  add_text(list, "new\r", 1, Count::body);
  EXPECT_EQ(list[2], "new\r");
}

TEST(TextEdit, DeleteLineTakesAllPieces) {
  LineList list = list_of({"\x01MSGID: 1\r", "b1\r", xs(255), xs(255), "end\r", "--- t\r", "b3\r"});
  EXPECT_EQ(delete_line(list, 2, Count::body), 1);
  EXPECT_EQ(elements(list), (std::vector<std::string>{"\x01MSGID: 1\r", "b1\r", "--- t\r", "b3\r"}));
  EXPECT_EQ(delete_line(list, 2, Count::body), 1);
  EXPECT_EQ(delete_line(list, 2, Count::body), 0);
  EXPECT_EQ(delete_line(list, 3, Count::all), 1);
  EXPECT_EQ(elements(list), (std::vector<std::string>{"\x01MSGID: 1\r", "b1\r"}));
}

TEST(TextEdit, FlagsKludgeHasItsPlace) {
  struct {
    std::vector<std::string> before;
    const char* words;
    std::vector<std::string> after;
  } cases[] = {
      {{"\x01INTL a b\r",
        "\x01"
        "FMPT 1\r",
        "\x01MSGID: x\r", "body\r"},
       "DIR",
       {"\x01INTL a b\r",
        "\x01"
        "FMPT 1\r",
        "\x01"
        "FLAGS DIR\r",
        "\x01MSGID: x\r", "body\r"}},
      {{"\x01MSGID: x\r",
        "\x01"
        "flags IMM\r",
        "body\r"},
       "DIR",
       {"\x01MSGID: x\r",
        "\x01"
        "FLAGS DIR\r",
        "body\r"}},
      {{"\x01MSGID: x\r",
        "\x01"
        "FLAGS IMM\r",
        "body\r"},
       "",
       {"\x01MSGID: x\r", "body\r"}},
      {{"AREA:X\r", "body\r"},
       "DIR",
       {"AREA:X\r",
        "\x01"
        "FLAGS DIR\r",
        "body\r"}},
      {{"body\r",
        "\x01"
        "FLAGS IMM\r"},
       "DIR",
       {"\x01"
        "FLAGS DIR\r",
        "body\r",
        "\x01"
        "FLAGS IMM\r"}},
      {{"body\r"}, "", {"body\r"}},
      {{},
       "DIR",
       {"\x01"
        "FLAGS DIR\r"}},
  };
  for (const auto& c : cases) {
    LineList list = list_of(c.before);
    set_flags_kludge(list, c.words);
    EXPECT_EQ(elements(list), c.after);
  }
}

TEST(TextEdit, LinesOfATextEndInCr) {
  LineList list;
  text_to_lines(list, "");
  text_to_lines(list, xs(254));
  text_to_lines(list, xs(255));
  EXPECT_EQ(elements(list), (std::vector<std::string>{"\r", xs(254) + "\r", xs(254), "x\r"}));
}

TEST(TextEdit, InvalidatedLinesAreNoKludgesAnyMore) {
  const std::vector<std::string> message = {"\x01INTL a b\r", "\x01MSGID: 1\r", "\x01PID: p\r",
                                            "---\r",          "--- t\r",        "---x\r",
                                            " * Origin: o\r", "SEEN-BY: 1\r",   "\x01via x\r"};
  LineList some = list_of(message);
  invalidate_kludges(some, false);
  EXPECT_EQ(elements(some),
            (std::vector<std::string>{"\x01INTL a b\r", "\x01MSGID: 1\r", "@PID: p\r", "---\r", "--- t\r",
                                      "---x\r", " * Origin: o\r", "@EEN-BY: 1\r", "\x01via x\r"}));
  LineList all = list_of(message);
  invalidate_kludges(all, true);
  invalidate_tear_origin(all);
  EXPECT_EQ(elements(all),
            (std::vector<std::string>{"@INTL a b\r", "@MSGID: 1\r", "@PID: p\r", "-+-\r", "-+- t\r", "---x\r",
                                      " + Origin: o\r", "@EEN-BY: 1\r", "@via x\r"}));
}

}  // namespace
}  // namespace quelmo
