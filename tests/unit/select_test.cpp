#include "select/select.h"

#include <sys/stat.h>
#include <utime.h>

#include <ctime>

#include "config/global_vars.h"
#include "message/attributes.h"
#include "platform/clock.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

bool from(const char* text) {
  return do_select(text, "perl_Select()", Side::from);
}
bool to(const char* text) {
  return do_select(text, "perl_SelectTo()", Side::to);
}
std::string stop_of(const char* text) {
  return stop_message([&] { from(text); });
}

class Select : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    Msg& hdr = current.hdr;
    hdr.from = address("2:500/1.7");
    hdr.fromname = std::string_view("John Doe");
    hdr.to = address("2:501/2");
    hdr.toname = std::string_view("Jane Roe");
    hdr.subject = std::string_view("Secret");
    hdr.attr = attr_private | attr_local;
    hdr.flags = flags_dir;
    hdr.intattr = int_intl;
    current.text.split(
        "AREA:TEST.ECHO \r\x01MSGID: 2:500/1.7 1234\rFirst line\r\x01PID\tx\r--- tear\rSEEN-BY: 500/1 2\r");
  }

  struct Case {
    const char* text;
    bool from;
    bool to;
  };
  template <size_t N>
  static void expect(const Case (&cases)[N]) {
    for (const Case& c : cases) {
      EXPECT_EQ(quelmo::from(c.text), c.from) << c.text;
      EXPECT_EQ(quelmo::to(c.text), c.to) << c.text;
    }
  }
};

TEST_F(Select, PrefixesInAnyOrderWithBlanks) {
  define("ADDRESS", "x", "2:500/1");
  expect({
      {"x", false, false},
      {"  X\t", false, false},
      {"!x", true, true},
      {"~X", true, false},
      {"! ~ x", false, true},
      {"~!x", false, true},
      {"@~ADDRESS 2:500/1", true, false},
      {" ~ @\tADDRESS\t 2:500/1", true, false},
      {"!@~address '2:500/1'", false, true},
  });
}

TEST_F(Select, FaultsOfTheStringStopTheRun) {
  define("PKTLENGTH", "pl", "1k 2:5/1");
  struct {
    const char* text;
    const char* message;
  } cases[] = {
      {"", "perl_Select() argument missing: `'\n"},
      {" ! ~", "perl_Select() argument missing: ` ! ~'\n"},
      {"!!TAG", "perl_Select() syntax: `!!TAG'\n"},
      {"~ ~TAG", "perl_Select() syntax: `~ ~TAG'\n"},
      {"@!@NAME x", "perl_Select() syntax: `@!@NAME x'\n"},
      {"@ADDRESS", "perl_Select() argument missing: `@ADDRESS'\n"},
      {"@FOO x", "perl_Select() incorrect data type `FOO' in string: `@FOO x'\n"},
      {"@NODELIST x", "perl_Select() no direct data select possible with this token:`NODELIST'\n"},
      {"@ALIAS x", "perl_Select() no direct data select possible with this token:`ALIAS'\n"},
      {"@ADDRESS ''", "incorrect address in `SelectAddr': `'\n"},
      {"no such", "perl_Select() block undefined : `no such'\n"},
      {"!pl", "perl_Select() block undefined : `pl'\n"},
      {"@ADDRESSNAME *:*/* John",
       "select_addrname error: incorrect address in Data AddressName : `*:*/*' (*:*/* John)\n"},
      {"@ADDRESSNAME 2:5/1", "select_addrname error: incorrect name in Data AddressName : `2:5/1'\n"},
      {"@PASSWORDADDRESS x 2:5", "select_passaddr error: incorrect address in `SelectPasswordAddr': `2:5'\n"},
      {"@ATTRIBUTE !foo", "\acheck_all_attr error: incorrect attribute : `foo'\n"},
      {"@MESSAGEAGE x", "select_msgage error: (direct data), incorrect age : `x'"},
      {"@MESSAGEAGE 1 2:5", "select_msgage error: (direct data) incorrect address : `2:5'\n"},
      {"@FILEAGE x y", "select_fage error: (direct data), incorrect age : `x'"},
      {"@MESSAGELENGTH 1k", "select_msglen error: incorrect length: 1k"},
      {"@MESSAGELENGTH 1 2:5", "select_msglen error: incorrect address: `2:5'\n"},
      {"@DATE 01.01.2001", "select_date error: incorrect date: `01.01.2001'"},
      {"@DATE *.*.* Foo", "select_date error: incorrect day of week: `Foo'"},
      {"@DAYOFWEEK Foo", "select_dow error: incorrect day of week: `Foo'"},
      {"@FILES #", "select_files error: no filename defined\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(stop_of(c.text), c.message) << c.text;
}

TEST_F(Select, ABlockForgottenByTheRegistryStopsTheRun) {
  struct {
    const char* type;
    const char* message;
  } cases[] = {
      {"ADDRESS", "select_address: no such <Data Address> : `T'\n"},
      {"READDRESSLIST", "select_readdresslist: no such <Data ReAddress> : `T'\n"},
      {"SYSTEM", "select_system: no such <Data System> : `T'\n"},
      {"NAME", "select_name: no such <Data Name> : `T'\n"},
      {"ADDRESSNAME", "select_addrname: no such <Data AddressName> : `T'\n"},
      {"PASSWORDADDRESS", "select_passaddr error: no such <Data PasswordAddress> : `T'\n"},
      {"PASSWORDNAME", "select_passname error: no such <Data PasswordName> : `T'\n"},
      {"ECHONAME", "select_name: no such <Data EchoName> : `T'\n"},
      {"KLUDGE", "select_kludge error: no such <Data Kludge> : `T'\n"},
      {"TEXTSTRING", "select_textstr error: no such <Data TextString> : `T'\n"},
      {"SUBJECT", "select_subject: no such <Data Subject> : `T'\n"},
      {"ATTRIBUTE", "select_attr: no such <Data Attribute> : `T'\n"},
      {"ROUTING", "select_routing: no such <Data Routing> : `T'\n"},
      {"MESSAGEAGE", "select_msgage error: no such <Data MsgAge> : `T'\n"},
      {"FILEAGE", "select_fage error: no such <Data FileAge> : `T'\n"},
      {"MESSAGELENGTH", "select_msglen error: no such <Data MessageLenth> : `T'\n"},
      {"DATE", "select_date error: no such <Data Date> : `T'\n"},
      {"DAYOFWEEK", "select_dow error: no such <Data DayOfWeek> : `T'\n"},
      {"FILES", "select_files error: no such <Data Files> : `T'\n"},
      {"NODELIST", "select_nodelist: no such <Data Nodelist> : `T'\n"},
      {"VERSION9", "select_v9: no such <Data Version9> : `T'\n"},
  };
  for (const auto& c : cases) {
    free_tags();
    define_tag(data_type_id(c.type), "T", "");
    EXPECT_EQ(stop_of("T"), c.message);
  }
  free_tags();
  define_tag(type_processage, "T", "");
  EXPECT_FALSE(from("T"));  // no Via of this system: the block isn't looked for
  current.hdr.intattr |= int_lastvia;
  current.hdr.viatime = 1;
  EXPECT_EQ(stop_of("T"), "select_prage error: no such <Data ProcessAge> : `T'\n");
}

TEST_F(Select, WithoutAMessageOnlyFilesAndTheCalendarAnswer) {
  CurMsg.msgno = 0;
  config.debug_level = 4;
  define("NAME", "n", "x");
  define("DAYOFWEEK", "week", "Sun Mon Tue Wed Thu Fri Sat");
  expect({{"!n", false, false}, {"unknown", false, false}, {"!@NAME x", false, false}});
  EXPECT_EQ(log().find("select: rc"), std::string::npos);
  EXPECT_NE(log().find("select: no active message in memory\n"), std::string::npos);
  expect({
      {"week", true, true},
      {"!week", false, false},
      {"@DATE *.*.*", true, true},
      {"@FILES !/no/such", true, true},
      {"@FILEAGE 0 /no/such", false, false},
  });
}

TEST_F(Select, BlocksThatSayNothingAboutAMessage) {
  define("ADDRESSPACKER", "ap", "*:*/*.* - -");
  define("LENGTHADDRESS", "la", "1 *:*/*.*");
  define("PATH", "p", dir);
  touch("list.001");
  define("NODELIST", "nl", "idx " + dir + " list");
  define("VERSION9", "v9", "idx 1 1 " + dir + " list");
  expect({{"ap", false, false},
          {"!la", true, true},
          {"p", false, false},
          {"nl", false, false},
          {"!v9", true, true}});
}

TEST_F(Select, Addresses) {
  define("ADDRESS", "a", "3:*/*.*");
  define("ADDRESS", "a", "2:501/*");
  define("READDRESSLIST", "ra", "2:500/1 2:501/2");
  define("SYSTEM", "sys", "2:501/2 net 2");
  define("ROUTING", "r", "2:9/9 2:501/# 1:1/1 2:*/2.5");
  expect({
      {"a", false, true},
      {"ra", false, false},
      {"~ra", true, false},
      {"sys", false, true},
      // The addressee alone counts, and `#` is no wildcard.
      {"r", false, false},
      {"~r", true, true},
      {"@ADDRESS 2:*/*", false, true},
      {"~@ADDRESS 2:500/1", true, false},
  });
}

TEST_F(Select, NamesAndTexts) {
  define("NAME", "n", "\"Jane Roe\"");
  define("NAME", "n", "nobody");
  define("SUBJECT", "s", "Secret");
  define("TEXTSTRING", "t", "First line");
  define("ECHONAME", "e", "TEST.ECHO");
  define("MACRO", "any", "WHO John Doe");
  define("NAME", "who", "%WHO%");
  define("ADDRESSNAME", "an", "2:500/1.* John Doe");
  define("ADDRESSNAME", "an", "2:501/* nobody");
  expect({
      {"n", false, true},
      {"~@NAME oE", true, true},
      {"@NAME john doe", false, false},
      {"who", true, false},
      {"@NAME %WHO%", true, false},
      {"s", true, true},
      {"@SUBJECT secret", false, false},
      {"~@SUBJECT ECRE", true, true},
      {"t", true, true},
      {"@TEXTSTRING first line", false, false},
      {"~@TEXTSTRING ST LI", true, true},
      {"@TEXTSTRING \"SEEN-BY: 500/1 2\"", true, true},
      {"e", true, true},
      {"~@ECHONAME test", true, true},
      {"an", true, false},
      {"@ADDRESSNAME 2:500/1.7 John Doe", true, false},
      {"@ADDRESSNAME 2:500/1 John Doe", false, false},
      {"@ADDRESSNAME 2:500/1.7 john doe", false, false},
      {"~@ADDRESSNAME 2:500/1 OH", true, false},
  });
  current.text.split(
      "\x01"
      "AREA:TEST.ECHO\rno area\r");
  expect({{"e", false, false}, {"!e", true, true}});
}

TEST_F(Select, RegularExpressionsOfBlocks) {
  config.use_regexp = true;
  define("NAME", "n", "^J.hn");
  define("SUBJECT", "s", "%.*%|^Secret$");
  define("TEXTSTRING", "t", "^First|nothing$");
  define("TEXTSTRING", "cr", "line$");
  define("ECHONAME", "e", "\\.ECHO$");
  define("ADDRESSNAME", "an", "*:*/*.* R.e$");
  define("KLUDGE", "k", "^.MSG !TO?PT");
  expect({
      {"n", true, false},
      {"~n", true, false},
      {"s", true, true},
      {"t", true, true},
      {"cr", true, true},
      {"e", true, true},
      {"an", false, true},
      {"k", false, false},
      // Direct data is never an expression.
      {"@NAME J.hn Doe", false, false},
  });
  define("KLUDGE", "k", "M[S]GID !TO?PT");
  expect({{"k", true, true}});
  config.use_regexp = false;  // names keep theirs, kludges go back to the text
  expect({{"n", true, false}, {"k", false, false}});
}

TEST_F(Select, Passwords) {
  define("PASSWORDADDRESS", "pa", "SECRET 2:501/2");
  define("PASSWORDNAME", "pn", "secret 'JOHN DOE'");
  expect({
      {"pa", false, true},
      {"@PASSWORDADDRESS secret 2:*/*.*", true, true},
      {"@PASSWORDADDRESS \"secret\" 2:500/1.7", true, false},
      {"@PASSWORDADDRESS wrong 2:*/*.*", false, false},
      // Relaxed, the address counts as its pattern says: the point isn't wild.
      {"~@PASSWORDADDRESS wrong 2:*/*", false, true},
      {"pn", true, false},
      {"@PASSWORDNAME secret jane roe", false, true},
      {"@PASSWORDNAME wrong Jane Roe", false, false},
      {"~@PASSWORDNAME wrong Jane Roe", false, true},
  });
}

TEST_F(Select, Attributes) {
  define("ATTRIBUTE", "a", "crash");
  define("ATTRIBUTE", "a", "private !hold dir intl");
  std::string words;
  for (int i = 0; i < 20; i++) words += " local";
  expect({
      {"a", true, true},
      {"@ATTRIBUTE PRIVATE !LOCAL", false, false},
      {"@ATTRIBUTE private Dir !zaloop", true, true},
      {("@ATTRIBUTE" + words + " foo crash").c_str(), true, true},
  });
}

TEST_F(Select, Kludges) {
  define("KLUDGE", "k", "TOPT");
  define("KLUDGE", "k", "MSGID: !INTL PID");
  expect({
      {"k", true, true},
      {"@KLUDGE MSGID:", true, true},
      {"@KLUDGE MSGID", false, false},
      {"@KLUDGE msgid:", false, false},
      {"~@KLUDGE msg", true, true},
      {"~@KLUDGE SGID", false, false},
      {"@KLUDGE !MSGID: PID", false, false},
      {"@KLUDGE !REPLY: PID", true, true},
      {"@KLUDGE SEEN-BY:", true, true},
      {"~@KLUDGE seen", true, true},
      {"@KLUDGE AREA:TEST.ECHO", false, false},
  });
  current.text.clear();
  expect({{"@KLUDGE !INTL", true, true}, {"@KLUDGE !INTL PID", false, false}, {"k", false, false}});
}

TEST_F(Select, AgesOfMessages) {
  std::time_t now = std::time(nullptr);
  define("MESSAGEAGE", "old", "1 2:501/*");
  define("MESSAGEAGE", "older", "2");
  define("PROCESSAGE", "done", "0:30");
  current.hdr.time = now - 86400 - 60;
  expect({
      {"old", false, true},
      {"older", false, false},
      {"@MESSAGEAGE 1", true, true},
      {"@MESSAGEAGE 1:30", false, false},
      {"@MESSAGEAGE : 2:500/*.*", true, false},
      {"@MESSAGEAGE 30000", false, false},  // reaches back behind 1970
      {"done", false, false},
      {"@PROCESSAGE -1", false, false},
  });
  current.hdr.intattr |= int_lastvia;
  current.hdr.viatime = now - 1801;
  expect(
      {{"done", true, true}, {"@PROCESSAGE 0:31", false, false}, {"@PROCESSAGE 0:29 2:501/2", false, true}});
  EXPECT_EQ(stop_of("@PROCESSAGE x"), "select_msgage error: (direct data), incorrect age : `x'");
  current.hdr.time = now + 5;
  expect({{"@MESSAGEAGE 0", false, false}, {"@MESSAGEAGE -1", true, true}});
}

TEST_F(Select, LengthsOfMessages) {
  current.text.split(std::string(1024, 'x'));
  define("MESSAGELENGTH", "1k", "1k");
  define("MESSAGELENGTH", "short", "1023 2:501/2");
  define("MESSAGELENGTH", "any", "0");
  expect({
      {"1k", false, false},
      {"short", false, true},
      {"~1k", true, true},
      {"any", true, true},
      {"@MESSAGELENGTH 1023", true, true},
      {"@MESSAGELENGTH 1024", false, false},
      {"~@MESSAGELENGTH 9999 2:500/1.*", true, false},
      {"@MESSAGELENGTH 99999999999", false, false},
  });
  EXPECT_EQ(current.hdr.length, 1024u);
}

// Sets the zone for a test; what the clock shows in it is the test's to ask.
TEST_F(Select, TheCalendarIsThatOfLocalTime) {
  constexpr const char* names[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  for (const char* zone : {"XXX+12", "XXX-14"}) {
    ::setenv("TZ", zone, 1);
    ::tzset();
    std::tm now = local_time();
    std::string day = std::to_string(now.tm_mday);
    std::string month = std::to_string(now.tm_mon + 1);
    std::string today = day + "." + month + ".*";
    std::string weekday = names[now.tm_wday];
    std::string tomorrow = names[(now.tm_wday + 1) % 7];
    free_tags();
    blocks = DataBlocks();
    define("DATE", "today", "*.*.0");
    define("DATE", "today", today + " " + weekday);
    define("DATE", "never", "31.02.*");
    define("DATE", "never", "*.*.* " + tomorrow);
    define("DAYOFWEEK", "now", tomorrow + " " + weekday);
    EXPECT_TRUE(from("today"));
    EXPECT_FALSE(from("never"));
    EXPECT_TRUE(from("now"));
    EXPECT_TRUE(from(("@DATE *.*." + std::to_string(now.tm_year + 1900)).c_str()));
    EXPECT_TRUE(from(("@DATE *.*." + std::to_string(now.tm_year)).c_str()));
    EXPECT_FALSE(from(("@DATE *.*.* " + tomorrow).c_str()));
    EXPECT_FALSE(from(("@DAYOFWEEK " + tomorrow).c_str()));
  }
  ::unsetenv("TZ");
  ::tzset();
}

TEST_F(Select, AgesOfFiles) {
  auto file = [&](const char* name, std::time_t age) {
    touch(name);
    utimbuf times = {std::time(nullptr) - age, std::time(nullptr) - age};
    ASSERT_EQ(::utime((dir + name).c_str(), &times), 0);
  };
  file("NEW.flg", 10);
  file("old.flg", 2 * 86400 + 60);
  ::mkdir((dir + "dir.flg").c_str(), 0777);
  utimbuf epoch = {1, 1};
  ASSERT_EQ(::utime((dir + "dir.flg").c_str(), &epoch), 0);
  config.flag_dir = std::string_view(dir);
  config.debug_level = 4;
  set_global_var("ANY", "*");
  define("FILEAGE", "fa", "3 # *.flg");
  define("FILEAGE", "fa", "2 # new.flg %ANY%.FLG");
  define("FILEAGE", "young", "2 " + dir + "new.flg " + dir + "dir.flg " + dir + "none");
  EXPECT_TRUE(from("fa"));
  EXPECT_NE(log().find("select_fage: `old.flg' is older than 2 days\n"), std::string::npos);
  EXPECT_FALSE(from("young"));
  EXPECT_TRUE(from("@FILEAGE 0 # new.flg"));
  EXPECT_FALSE(from("@FILEAGE 1 # new.flg old.flg"));  // old.flg isn't under FLAGDIR
  EXPECT_TRUE(from("@FILEAGE 1 # new.flg # old.flg"));
  EXPECT_FALSE(from("@FILEAGE 1 # new.flg #"));
}

TEST_F(Select, ExistenceOfFiles) {
  touch("a.flg");
  touch("B1.flg");
  config.flag_dir = std::string_view(dir);
  define("FILES", "both", "# a.flg b.flg");
  define("FILES", "one", "# none");
  define("FILES", "one", "# a.flg !b.flg");
  define("FILES", "free", "!" + dir + "b.flg " + dir + "A.FLG");
  EXPECT_FALSE(from("both"));
  EXPECT_TRUE(from("one"));
  EXPECT_TRUE(from("free"));
  config.use_regexp = true;
  define("FILES", "rx", "# ^B[0-9] !^c");
  define("FILES", "norx", "# !^a");
  EXPECT_TRUE(from("rx"));
  EXPECT_FALSE(from("norx"));
  EXPECT_TRUE(from("@FILES # a.flg !b.flg"));
  EXPECT_FALSE(from("@FILES # a.flg b.flg"));
  EXPECT_TRUE(from(("@FILES #" + dir + " a.flg").c_str()));
  EXPECT_FALSE(from("@FILES # ^B[0-9]"));
  EXPECT_FALSE(from("@FILES #/no/such a.flg"));
  EXPECT_EQ(log(), "select_files error: path doesn't exist : `/no/such'\n");
}

TEST_F(Select, StepsAreTraced) {
  config.debug_level = 5;
  define("ADDRESS", "x", "2:500/1");
  EXPECT_TRUE(from(" ~x"));
  EXPECT_FALSE(from("@NAME 'y'"));
  EXPECT_EQ(log(),
            "select: initial string to select:` ~x'\n"
            "select: string to select after expanding:`~x'\n"
            "select: string to select after stripping blanks:`~x'\n"
            "select: do relaxed comparing for string:`x'\n"
            "select: do block comparing for string:`x'\n"
            "select address: compare `2:500/1.7' in msg and `2:500/1.*' in block\n"
            "select: rc = 1\n"
            "select: initial string to select:`@NAME 'y''\n"
            "select: string to select after expanding:`@NAME 'y''\n"
            "select: string to select after stripping blanks:`@NAME 'y''\n"
            "select: do direct comparing for string:`NAME 'y''\n"
            "select: direct comparing with token:`NAME' and data:`'y''\n"
            "select: string to select after removing quotes:`y'\n"
            "select: rc = 0\n");
}

}  // namespace
}  // namespace quelmo
