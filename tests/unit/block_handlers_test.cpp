#include <sys/stat.h>
#include <utime.h>

#include "config/packers.h"
#include "nodelist/templates.h"
#include "run_fixture.h"
#include "select/block_parsers.h"

namespace quelmo {
namespace {

using BlockHandlers = RunTest;

TEST(BlockParsers, Lengths) {
  struct {
    const char* text;
    bool good;
    int32_t bytes;
  } cases[] = {
      {"0", true, 0},
      {"123", true, 123},
      {"1k", true, 1024},
      {"1K", true, 1024},
      {"2M", true, 2097152},
      {"-1k", true, -1024},
      {"", false, 0},
      {"k", false, 0},
      {"1kk", false, 0},
      {"1 k", false, 0},
      {"1.5k", false, 0},
      {"+1", false, 0},
      // Beyond 32 bits: the limit, not a small number.
      {"4096m", true, INT32_MAX},
      {"99999999999999999999", true, INT32_MAX},
  };
  for (const auto& c : cases) {
    int32_t bytes = 0;
    EXPECT_EQ(parse_length(c.text, bytes), c.good) << c.text;
    EXPECT_EQ(c.good ? bytes : 0, c.bytes) << c.text;
  }
}

TEST(BlockParsers, Ages) {
  struct {
    const char* text;
    bool good;
    int32_t seconds;
  } cases[] = {
      {"0:30", true, 1800}, {":30", true, 1800},  {"3", true, 259200}, {"3:", true, 259200},
      {"1:1", true, 86460}, {"-1", true, -86400}, {":", true, 0},      {"", false, 0},
      {"1:2:3", false, 0},  {"1d", false, 0},     {"1:x", false, 0},   {"30000", true, INT32_MAX},
  };
  for (const auto& c : cases) {
    int32_t seconds = 0;
    EXPECT_EQ(parse_age(c.text, seconds), c.good) << c.text;
    EXPECT_EQ(c.good ? seconds : 0, c.seconds) << c.text;
  }
}

TEST(BlockParsers, Dates) {
  constexpr int any = any_date_part;
  struct {
    const char* text;
    bool good;
    int day, month, year;
  } cases[] = {
      {"31.02.*", true, 31, 1, any}, {"*.*.*", true, any, any, any}, {"1.12.99", true, 1, 11, 99},
      {"1.1.1999", true, 1, 0, 99},  {"1.1.1900", true, 1, 0, 1900}, {"1.1.1901", true, 1, 0, 1},
      {"1.1.0", true, 1, 0, 0},      {"1.1.2001", true, 1, 0, 101},  {"01.01.2001", false, 0, 0, 0},
      {"0.1.*", false, 0, 0, 0},     {"32.1.*", false, 0, 0, 0},     {"1.0.*", false, 0, 0, 0},
      {"1.13.*", false, 0, 0, 0},    {"1.1", false, 0, 0, 0},        {"1.1.", false, 0, 0, 0},
      {"..", false, 0, 0, 0},        {"1.1.1.1", false, 0, 0, 0},    {"x.1.1", false, 0, 0, 0},
  };
  for (const auto& c : cases) {
    DateEntry date;
    EXPECT_EQ(parse_date(c.text, date), c.good) << c.text;
    if (!c.good) continue;
    EXPECT_EQ(date.day, c.day) << c.text;
    EXPECT_EQ(date.month, c.month) << c.text;
    EXPECT_EQ(date.year, c.year) << c.text;
  }
}

TEST(BlockParsers, DaysOfWeek) {
  using Days = std::vector<int>;
  Days dow;
  EXPECT_TRUE(parse_days_of_week("sun MON\tSat", dow));
  EXPECT_EQ(dow, (Days{1, 2, 7}));
  EXPECT_TRUE(parse_days_of_week("Mon Mon Mon Mon Mon Mon Tue Wed", dow));
  EXPECT_EQ(dow, (Days{2, 2, 2, 2, 2, 2, 3}));
  EXPECT_TRUE(parse_days_of_week("", dow));
  EXPECT_TRUE(dow.empty());
  EXPECT_FALSE(parse_days_of_week("Mon Foo", dow));
  EXPECT_FALSE(parse_days_of_week("Monday", dow));
}

TEST_F(BlockHandlers, BadLinesStopTheRun) {
  packers.emplace_back().name = std::string_view("zip");
  touch("list.001");
  const std::string regex_on = "(regex)";  // the case wants regular expressions
  struct {
    const char* type;
    std::string line;
    std::string message;  // behind the bell and the prefix
  } cases[] = {
      {"ADDRESS", "2:500", " incorrect address : `2:500'\n"},
      {"ADDRESSNAME", "2:5/x John", " incorrect address : `2:5/x'\n"},
      {"ADDRESSNAME", "2:5/1 a(", " regular expression syntax : `a(' (Unmatched ( or \\()"},
      {"ADDRESSPACKER", "2:5/1 rar -", " packer undefined : `rar'\n"},
      {"ADDRESSPACKER", "2:5/1", " packer undefined : `'\n"},
      {"ADDRESSPACKER", "2:5/1 ZIP 1x", " syntax (length): `1x'\n"},
      {"ADDRESSPACKER", "2:5/1 - - CRASH !FOO", " incorrect attribute : `!FOO'\n"},
      {"ATTRIBUTE", "private foo", " incorrect attribute : `FOO'\n"},
      {"DATE", "1.13.*", " incorrect date: `1.13.*'"},
      {"DATE", "1.1.* Mon Foo", " incorrect day of week: `Mon Foo'"},
      {"DAYOFWEEK", "Mon Foo", " incorrect day of week: `Mon Foo'"},
      {"FILEAGE", "1d x.flg", " syntax in age : `1d' -- should be days:mins"},
      {"FILEAGE", "1", " no filename defined"},
      {"FILEAGE", "1 #" + dir, " no filename defined"},
      {"FILEAGE", "1 #/no/such x", " path doesn't exist : `/no/such'"},
      {"FILES", "#", " no filename defined"},
      {"FILES", "#/no/such x", " path doesn't exist : `/no/such'\n"},
      {"FILES", "#" + dir + " *x",
       " regular expression syntax : `*x' (Invalid preceding regular expression)"},
      {"KLUDGE", "MSGID: [a", " regular expression syntax : `\x01[a' (Unmatched [, [^, [:, [., or [=)"},
      {"LENGTHADDRESS", "1k", " incorrect address `' for tagname: `TAG'\n"},
      {"PKTLENGTH", "1x 2:5/1", " incorrect length (1x) for tagname TAG"},
      {"PKTLENGTH", "1k 2:5", " incorrect address `2:5' for tagname: `TAG'\n"},
      {"MESSAGELENGTH", "1 k", " incorrect address `k' for tagname: `TAG'\n"},
      {"MACRO", "name", " error in line `name'\n"},
      {"MESSAGEAGE", "x", " syntax in age : `x' -- should be days:mins"},
      {"MESSAGEAGE", "1 2:5", " incorrect address : `2:5'\n"},
      {"PROCESSAGE", "", " syntax in age : `' -- should be days:mins"},
      {"NODELIST", "idx " + dir + "none list", " path not found : `" + dir + "none'\n"},
      {"NODELIST", "idx 2 " + dir + " list other", " nodelist file(s) template not found: `list other'\n"},
      {"VERSION9", "idx 2 " + dir + " list", " default region incorrect or missing  : `" + dir + "'"},
      {"PASSWORDADDRESS", "secret 2:5/*", " incorrect address : `2:5/*'\n"},
      {"PASSWORDADDRESS", "secret", " incorrect address : `'\n"},
      {"PASSWORDNAME", "secret", " syntax:`secret'"},
      {"READDRESSLIST", "2:5/1", " incorrect address : `'\n"},
      {"ROUTING", "", " incorrect argument count\n"},
      {"ROUTING", "CRASH !hold", " incorrect argument count\n"},
      {"ROUTING", "HOLD 2:5/1", " incorrect argument count\n"},
      {"ROUTING", "FAST 2:5/1 *:*/*", " incorrect <dest> : `FAST'\n"},
      {"ROUTING", "#:*/* *:*/*", " incorrect <dest> : `#:*/*'\n"},
      {"ROUTING", "*:#/* *:*/*", " incorrect <dest> : `*:#/*'\n"},
      {"ROUTING", "*:*/*.# *:*/*", " incorrect <dest> : `*:*/*.#'\n"},
      {"ROUTING", "2:5/1 2:5/* 2:x/*", " incorrect <target> : `2:x/*'\n"},
      {"SYSTEM", "2:5/* net 2", " incorrect address : `2:5/*'\n"},
      {"SYSTEM", "2:5/1 net", " no zones defined\n"},
      {"SYSTEM", "2:5/1 net 2 x", " incorrect zone : `x'\n"},
      {"SYSTEM", "2:5/1 net 65536", " incorrect zone : `65536'\n"},
      {"TEXTSTRING", "\"a(\"", " regular expression syntax : `a(' (Unmatched ( or \\()"},
  };
  config.use_regexp = true;
  for (const auto& c : cases) {
    free_tags();
    blocks = DataBlocks();
    EXPECT_EQ(stop_message([&] { define(c.type, "tag", c.line); }), "\acfg -- line #1," + c.message)
        << c.type << " " << c.line;
  }
  EXPECT_NE(log().find("cfg -- line #1, incorrect address : `2:500'\n"), std::string::npos);
  packers.clear();
}

TEST_F(BlockHandlers, TagsAreCutUpperCasedAndHeldToOneType) {
  define("NAME", "a_tag_of_twenty_bytes", "x");
  define("NAME", "A_TAG_OF_TWENTY_BYTE", "y");
  ASSERT_EQ(blocks.name.size(), 1u);
  EXPECT_EQ(blocks.name[0].tag.view(), "A_TAG_OF_TWENTY_BYT");
  EXPECT_EQ(blocks.name[0].entries[1].text.view(), "y");
  EXPECT_EQ(tag_type("a_tag_OF_twenty_byt"), type_name);
  EXPECT_EQ(stop_message([] { define("SUBJECT", "a_tag_of_twenty_byt", "x"); }),
            "\acfg -- line #1, duplicate block name `A_TAG_OF_TWENTY_BYT'\n");
  EXPECT_EQ(stop_message([] { define("ADDRESS", "", "2:5/1"); }),
            "\acfg -- line #1, incorrect data block name : `'");
  EXPECT_TRUE(forget_tag("A_Tag_of_twenty_byt"));
  EXPECT_TRUE(tag_is_free("a_tag_of_twenty_byt"));
}

TEST_F(BlockHandlers, FieldsOfAddressLines) {
  packers.emplace_back().name = std::string_view("zip");
  define("ADDRESSNAME", "an", "2:*/5.*  \"John Doe\" and a name that is longer");
  EXPECT_EQ(addr_to_text(blocks.addressname[0].entries[0].address), "2:*/5.*");
  EXPECT_EQ(blocks.addressname[0].entries[0].name.view(), "\"John Doe\" and a name that is longe");
  define("ADDRESSPACKER", "ap", "2:5/1 Zip 2k CRASH !local");
  EXPECT_EQ(blocks.addresspacker[0].entries[0].maxlen, 2048);
  EXPECT_EQ(blocks.addresspacker[0].entries[0].attrs.view(), "CRASH !local");
  define("ADDRESSPACKER", "ap", "2:5/1 - -");
  EXPECT_EQ(blocks.addresspacker[0].entries[1].packer.view(), "-");
  define("PASSWORDADDRESS", "pa", "ninebytes 2:5/1@net");
  EXPECT_EQ(blocks.passwordaddress[0].entries[0].password.view(), "ninebyte");
  define("PASSWORDNAME", "pn", "ninebytes 'John Doe'");
  EXPECT_EQ(blocks.passwordname[0].entries[0].password.view(), "ninebyte");
  EXPECT_EQ(blocks.passwordname[0].entries[0].name.view(), "John Doe");
  std::string zones;
  for (int zone = 1; zone <= 21; zone++) zones += " " + std::to_string(zone);
  define("SYSTEM", "sys", "2:5/1@x fidonet" + zones);
  EXPECT_EQ(blocks.system[0].entries[0].domain.view(), "fidonet");
  EXPECT_EQ(blocks.system[0].entries[0].zones.size(), 20u);
  define("ROUTING", "r", "crash !Hold DIR DIR DIR DIR DIR DIR DIR DIR !IMM *:*/#.* 2:5/# 2:6/1.#");
  const RoutingRule& rule = blocks.routing[0].entries[0];
  ASSERT_EQ(rule.flavors.size(), 10u);
  EXPECT_EQ(rule.flavors[1], 0x1010);
  EXPECT_EQ(rule.dest.node, wild_hash);
  EXPECT_EQ(rule.targets.size(), 2u);
  packers.clear();
}

TEST_F(BlockHandlers, FieldsOfTextLines) {
  define("ATTRIBUTE", "at", "private !Local k/s !zaloop");
  ASSERT_EQ(blocks.attribute[0].entries[0].words.size(), 4u);
  EXPECT_EQ(blocks.attribute[0].entries[0].words[1].view(), "!LOCAL");
  define("KLUDGE", "k", "MSGID: !" + std::string(130, 'x'));
  const KludgeEntry& kludges = blocks.kludge[0].entries[0];
  EXPECT_EQ(kludges.words[0].pattern.view(), "\x01MSGID:");
  EXPECT_FALSE(kludges.words[1].wanted);
  EXPECT_EQ(kludges.words[1].pattern.size(), 127u);
  define("ECHONAME", "e", "\"" + std::string(30, 'e') + "\"");
  EXPECT_EQ(blocks.echoname[0].entries[0].text.view(), std::string(19, 'e'));
  EXPECT_FALSE(blocks.echoname[0].entries[0].regex);
  define("MACRO", "any", "Greet hello  you");
  define("MACRO", "other", "GREET bye");
  define("MACRO", "other", "");
  ASSERT_EQ(blocks.macros.size(), 1u);
  EXPECT_EQ(blocks.macros[0].text.view(), "bye");
  EXPECT_TRUE(tag_is_free("any"));
}

TEST_F(BlockHandlers, RegularExpressionsFollowTheSwitchAtTheirLine) {
  // The whole text is compiled, however much of it the field takes.
  std::string name = std::string(40, 'a') + "$";
  config.use_regexp = true;
  define("NAME", "n", name);
  config.rx_cflags = REG_ICASE;
  define("NAME", "n", name);
  config.use_regexp = false;
  define("NAME", "n", name);
  const auto& entries = blocks.name[0].entries;
  EXPECT_TRUE(entries[0].regex.matches(std::string(40, 'a')));
  EXPECT_FALSE(entries[0].regex.matches(std::string(39, 'a')));
  EXPECT_FALSE(entries[0].regex.matches(std::string(40, 'A')));
  EXPECT_TRUE(entries[1].regex.matches(std::string(40, 'A')));
  EXPECT_FALSE(entries[2].regex);
}

TEST_F(BlockHandlers, FieldsOfFileLines) {
  config.flag_dir = std::string_view(dir);
  config.debug_level = 4;
  define("FILEAGE", "fa", "1:1 # a.flg b.*");
  EXPECT_EQ(blocks.fileage[0].entries[0].age, 86460);
  EXPECT_EQ(blocks.fileage[0].entries[0].names[1].view(), dir + "b.*");
  define("FILES", "f", "#" + dir.substr(0, dir.size() - 1) + " a.flg !b.flg");
  const FilesEntry& under = blocks.files[0].entries[0];
  EXPECT_EQ(under.names[0].name.view(), dir + "a.flg");
  EXPECT_EQ(under.names[1].name.view(), "!" + dir + "b.flg");
  EXPECT_EQ(under.names[1].dir.view(), dir);
  EXPECT_EQ(log(), "warning! DATA FILES: file `" + dir + "a.flg' doesn't exist\n");
  config.use_regexp = true;
  define("FILES", "f", "# !b.*");
  define("FILES", "f", "a(");
  EXPECT_TRUE(blocks.files[0].entries[1].names[0].regex.matches("b.flg"));
  EXPECT_FALSE(blocks.files[0].entries[2].names[0].regex);
  define("PATH", "p", "'" + dir + "'");
  define("PATH", "p", "/no/such");
  EXPECT_EQ(blocks.path[0].entries[0].path.view(), dir);
  EXPECT_EQ(blocks.path[0].entries[1].path.view(), "/no/such");
  EXPECT_NE(log().find("cfg -- line #1, Warning! path doesn't exist : `/no/such'\n"), std::string::npos);
}

TEST_F(BlockHandlers, FieldsOfNodelistLines) {
  touch("list.001");
  std::string path = dir.substr(0, dir.size() - 1);
  define("NODELIST", "n", "idx " + path + " LIST");
  define("NODELIST", "n", "idx 2 " + path + " list.* list.001");
  define("VERSION9", "v", "v9 2 50 " + path + " list");
  define("VERSION9", "v", "v9 " + path + " list");
  EXPECT_EQ(blocks.nodelist[0].entries[0].zone, 0);
  EXPECT_EQ(blocks.nodelist[0].entries[0].path.view(), dir);
  EXPECT_EQ(blocks.nodelist[0].entries[1].zone, 2);
  EXPECT_EQ(blocks.nodelist[0].entries[1].templates.view(), "list.* list.001");
  EXPECT_EQ(blocks.version9[0].entries[0].region, 50);
  EXPECT_EQ(blocks.version9[0].entries[1].region, 0xFFFF);
  EXPECT_EQ(blocks.version9[0].entries[1].zone, 0xFFFF);
}

TEST_F(BlockHandlers, NodelistTemplatesChooseTheNewestNumberedFile) {
  auto file = [&](const char* name, std::time_t when) {
    touch(name);
    utimbuf times = {when, when};
    ASSERT_EQ(::utime((dir + name).c_str(), &times), 0);
  };
  constexpr std::time_t day = 1000000000;
  file("NODELIST.358", day);
  file("nodelist.001", day + 7 * 86400);
  file("nodelist.365", day);
  file("nodelist.zip", day + 900000);
  file("points.9", day);
  file("points.10", day + 1);  // the same two seconds: the larger number
  file("points.txt", day + 900000);
  file("segment.a", day);
  file("segment.b", day + 900000);
  ::mkdir((dir + "nodelist.999").c_str(), 0777);
  struct {
    const char* templates;
    const char* names;
  } cases[] = {
      {"NODELIST", "nodelist.001 "},
      {"nodelist.3??", "NODELIST.358 "},
      {"points.*", "points.10 "},
      {"segment.?", "segment.a "},
      {"segment.*", ""},
      {"nodelist points.* segment.a", "nodelist.001 points.10 segment.a "},
      {"nodelist nothing.???", ""},
      {"", ""},
  };
  for (const auto& c : cases) {
    std::vector<std::string> names;
    std::string joined;
    if (resolve_templates(dir, c.templates, names) != 0) {
      for (const std::string& name : names) joined += name + " ";
    }
    EXPECT_EQ(joined, c.names) << c.templates;
  }
}

}  // namespace
}  // namespace quelmo
