// Directories of the configuration, keywords and the definitions of areas.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "config/areas.h"
#include "config/keywords.h"
#include "config/time_stamps.h"
#include "core/dirs.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

namespace fs = std::filesystem;

class ConfigTest : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    areas = AreaLists();
    free_ts_list();
    for (const char* name : {"mail", "Other", "mail/sub"}) fs::create_directory(dir + name);
    ::setenv("QUELMO_DRIVE_Q", dir.c_str(), 1);
    run.QuelmoPath = dir;
    define("SYSTEM", "SYS", "2:999/100 net 2");
    define("PASSWORDADDRESS", "PASS", "secret 2:1/1");
    define("PKTLENGTH", "LEN", "10k *:*/*");
  }
  void TearDown() override {
    areas = AreaLists();
    free_ts_list();
    ::unsetenv("QUELMO_DRIVE_Q");
    RunTest::TearDown();
  }
  // Sets a keyword; the message if that stops the run, else "ok", or "no effect".
  std::string set(const std::string& name, const std::string& value) {
    int result = -1;
    std::string message = stop_message([&] { result = set_keyword_by_name(name, value, "here"); });
    if (result == -1) return message;
    return result == 1 ? "ok" : "no effect";
  }
  // The same with the directory of the test shown as DIR.
  std::string fault(const std::string& name, const std::string& value) {
    std::string message = set(name, value);
    for (size_t at; (at = message.find(dir)) != std::string::npos;) message.replace(at, dir.size(), "DIR/");
    return message;
  }
};

TEST_F(ConfigTest, CheckPathClosesADirectoryAsItWasWritten) {
  struct {
    std::string path;
    bool found;
    std::string closed;
  } cases[] = {
      {"", true, ""},
      {dir + "mail", true, dir + "mail/"},
      {dir + "mail\\", true, dir + "mail\\"},
      {dir + "MAIL\\Sub", true, dir + "MAIL\\Sub\\"},
      {"q:", true, "q:\\"},
      {"Q:/", true, "Q:/"},
      {"Q:\\mail", true, "Q:\\mail\\"},
      {"/", true, "/"},
      {".", true, ""},
      {".\\", true, ""},
      {dir + "nosuch", false, dir + "nosuch"},
      {dir + "log/", false, dir + "log/"},
  };
  touch("log");
  for (auto& c : cases) {
    std::string path = c.path;
    EXPECT_EQ(check_path(path), c.found) << c.path;
    EXPECT_EQ(path, c.closed) << c.path;
  }
}

TEST_F(ConfigTest, JoinedPathsAreNeverCut) {
  std::string name(path_limit - dir.size() - 1, 'n');
  fs::create_directory(dir + name);
  EXPECT_EQ(find_dir(name), dir + name + "/");
  fs::create_directory(dir + name + "n");
  EXPECT_EQ(find_dir(name + "n"), std::nullopt) << "without room for the separator";
  EXPECT_EQ(home_path(std::string(path_limit - dir.size(), 'n'))->size(), path_limit);
  EXPECT_EQ(home_path(std::string(path_limit - dir.size() + 1, 'n')), std::nullopt);
  EXPECT_EQ(find_dir("Other"), dir + "Other/");
  EXPECT_EQ(find_dir(dir + "Other"), dir + "Other/") << "an absolute path stands by itself";
}

TEST_F(ConfigTest, FixPathMakesADirectory) {
  fix_path(dir + "fresh\\");
  EXPECT_TRUE(fs::is_directory(dir + "fresh"));
  touch("plain");
  fs::permissions(dir + "plain", fs::perms(0400));
  fix_path(dir + "PLAIN/");
  EXPECT_TRUE(fs::is_directory(dir + "PLAIN"));
  EXPECT_FALSE(fs::exists(dir + "plain"));
  fix_path(dir + "mail");
  std::string message = stop_message([&] { fix_path(dir + "no/such/dir"); });
  EXPECT_EQ(message, dir + "no/such/dir: No such file or directory\n\afix_path: error making dir: `" + dir +
                         "no/such/dir'\n");
}

TEST_F(ConfigTest, ValuesOfKeywords) {
  struct {
    const char* name;
    const char* value;
    const char* result;
  } cases[] = {
      {"chat", "off", "ok"},
      {"CHAT", "yes", "\ahere syntax: `yes'\n"},
      {"IGNOREBSY", "On", "ok"},
      {"IGNOREBSY", "1", "\ahere syntax: `1' (On/Off required)\n"},
      {"TOUCHECHOMAIL", "NO", "ok"},
      {"TOUCHECHOMAIL", "no way", "\ahere syntax: `no way' (Yes/No required)\n"},
      {"USEREGEXP", "YES", "ok"},
      {"RXIGNORECASE", "ON", "ok"},
      {"SHARING", "maybe", "\ahere syntax: `maybe'\n"},
      {"DEBUG", "3 or so", "ok"},
      {"DUPESMAXOPEN", "7", "ok"},
      {"DUPESMAXMSG", "none", "ok"},
      {"MAINADDRESS", "2:999/100.5@testnet ignored", "ok"},
      {"MAINADDRESS", "2:999/100", "\ayou MUST specify domain for MainAddress\n"},
      {"MAINADDRESS", "2:999/* net", "\ahere syntax: `2:999/* net'\n"},
      {"TEMPLATEPATH", "mail\\sub", "ok"},
      {"TEMPLATEPATH", "nosuch", "\ahere template path not found : `nosuch'\n"},
      {"FLAGDIR", "nosuch", "\ahere template path not found : `nosuch'\n"},
      {"TIMESTAMPPATH", "nosuch", "\ahere timestamp path not found : `nosuch'\n"},
      {"DUPEBASEPATH", "nosuch", "\ahere path not found : `nosuch'\n"},
      {"LOGINCLUDE", "(", "\ahere regular expression syntax : `(' (Unmatched ( or \\()"},
      {"INTAB", "nosuch", "nosuch: No such file or directory\n\ahere can't find intab file : `nosuch'\n"},
      {"OUTTAB", "in.tab", "ok"},
      {"COMPRESSFILE", "nosuch",
       "nosuch: No such file or directory\n\ahere can't find compress file : `nosuch'\n"},
      {"TIMEZONE", "3", "no effect"},
      {"DATA", "NAME x", "no effect"},
      {"NOSUCH", "x", "no effect"},
  };
  touch("in.tab");
  for (const auto& c : cases) EXPECT_EQ(set(c.name, c.value), c.result) << c.name;
  EXPECT_FALSE(config.chat);
  EXPECT_TRUE(config.ignore_bsy && !config.touch_echomail && config.use_regexp);
  EXPECT_EQ(config.rx_cflags, REG_ICASE);
  EXPECT_EQ(config.debug_level, 3);
  EXPECT_EQ(config.dupes_max_open * 1000 + config.dupes_max_msg, 7100);
  EXPECT_EQ(addr_to_text(config.main_address) + config.main_address.domain.str(), "2:999/100.5testnet");
  EXPECT_EQ(config.template_path.view(), dir + "mail\\sub\\");
  EXPECT_EQ(config.outtab_file, dir + "in.tab");
  EXPECT_EQ(set("LOCKFILE", std::string(255, 'x')), "ok");
  EXPECT_EQ(set("LOCKFILE", std::string(256, 'x')).substr(0, 14), "\ahere syntax: ");
  set_defaults();
  EXPECT_TRUE(config.chat && config.touch_echomail && !config.ignore_bsy && config.main_address.zone == 0);
  EXPECT_EQ(run.lock_name.size(), 255u) << "LOCKFILE's value outlives the defaults";
}

TEST_F(ConfigTest, ALogFileThatIsNamedAnewEndsTheOldLog) {
  EXPECT_EQ(set("LOGFILE", "new.log"), "ok");
  EXPECT_EQ(run.log_name, dir + "new.log");
  EXPECT_NE(read_file(dir + "log")->find("Runtime: "), std::string::npos);
  EXPECT_EQ(set("LOGFILE", "Q:\\x.log"), "ok");
  EXPECT_EQ(run.log_name, "Q:\\x.log");
}

TEST_F(ConfigTest, AreasTakeTheirWords) {
  EXPECT_EQ(set("FIDOAREA", ". home"), "ok");
  EXPECT_EQ(set("FIDOAREA", ".\\mail\\ netmail sys echomailing and more"), "ok");
  EXPECT_EQ(set("FIDOAREA", dir + "mail ABCDEFGHIJKLMNOPQRSTUVWXY echoMAIL"), "ok");
  EXPECT_EQ(set("BINKAREA", "mail out Sys PASS nomainzone MULTIDOMAIN brakeoutbound amiga4d"), "ok");
  EXPECT_EQ(set("PKTAREA", "Q:\\other pkts echomail LEN t-box"), "ok");
  EXPECT_EQ(set("TEXTAREA", "mail/sub/texts.txt texts rest is ignored"), "ok");
  EXPECT_EQ(set("TEXTAREA", "texts.txt texts2"), "ok");
  EXPECT_EQ(set("JAMAREA", "mail\\base jam sys"), "ok");
  EXPECT_EQ(set("SQUISHAREA", "Q:\\base sq"), "ok");
  const Area* home = find_area("HOME");
  ASSERT_NE(home, nullptr);
  EXPECT_EQ(home->path.view(), dir);
  const Area* netmail = find_area("Netmail");
  ASSERT_NE(netmail, nullptr);
  EXPECT_EQ(netmail->path.view(), dir + "mail\\");
  EXPECT_EQ(netmail->tag.view(), "NETMAIL");
  EXPECT_TRUE(netmail->echomail && netmail->system.view() == "sys");
  const Area* cut = find_area("abcdefghijklmnopqrs");
  ASSERT_NE(cut, nullptr);
  EXPECT_TRUE(cut->echomail && cut->system.empty());
  const Area* bink = find_area("OUT");
  ASSERT_NE(bink, nullptr);
  EXPECT_TRUE(bink->system.view() == "Sys" && bink->password.view() == "PASS" && bink->no_main_zone &&
              bink->multi_domain);
  EXPECT_EQ(bink->outbound_kind, outbound_amiga4d);
  const Area* pkt = find_area("PKTS");
  ASSERT_NE(pkt, nullptr);
  EXPECT_TRUE(pkt->echomail && pkt->pkt_length.view() == "LEN" && pkt->box_kind == box_t &&
              pkt->system.empty());
  EXPECT_EQ(pkt->path.view(), "Q:\\other\\");
  EXPECT_EQ(find_area("TEXTS")->path.view(), dir + "mail/sub/texts.txt");
  EXPECT_EQ(find_area("TEXTS2")->path.view(), dir + "texts.txt");
  EXPECT_EQ(find_area("JAM")->path.view(), dir + "mail\\base");
  EXPECT_EQ(find_area("SQ")->path.view(), "Q:\\base");
}

TEST_F(ConfigTest, ASecondDefinitionTakesTheFirstOnesPlace) {
  EXPECT_EQ(set("FIDOAREA", "mail one echomail"), "ok");
  EXPECT_EQ(set("FIDOAREA", "mail two"), "ok");
  EXPECT_EQ(set("FIDOAREA", "other ONE"), "ok");
  EXPECT_EQ(set("BINKAREA", "mail two"), "ok");
  ASSERT_EQ(areas.of_type[area_fido].size(), 2u);
  EXPECT_EQ(areas.of_type[area_fido][0].path.view(), dir + "other/");
  EXPECT_FALSE(areas.of_type[area_fido][0].echomail);
  EXPECT_EQ(area_type("TWO"), area_fido) << "of two kinds the first in the order of the search";
}

TEST_F(ConfigTest, FaultsOfAreas) {
  std::string longest(path_limit, 'p');
  struct {
    const char* name;
    std::string value;
    std::string message;
  } cases[] = {
      {"FIDOAREA", "nosuch x", "\ahere path not found: `nosuch'\n"},
      {"FIDOAREA", "log x", "\ahere path not found: `log'\n"},
      {"FIDOAREA", "mail", "\ahere incorrect area tag : `'"},
      {"FIDOAREA", "mail x nosuch", "\ahere data system block undefined : `nosuch'"},
      {"FIDOAREA", "mail x echomail y", "\ahere data system block undefined : `echomail'"},
      {"FIDOAREA", "mail x sys y", "\ahere unknown argument : `y'"},
      {"SQUISHAREA", "half x", "\asquish area file not found:`DIR/half.sqi'\n"},
      {"SQUISHAREA", longest + " x", "\ahere path not found: `" + longest + "'\n"},
      {"JAMAREA", "jam x", "\aJAM area file not found:`DIR/jam.jhr'\n"},
      {"BINKAREA", "mail x SYS SYS", "\ahere data not found or syntax error: `SYS'"},
      {"BINKAREA", "mail x NoMainZone NoMainZone", "\ahere data not found or syntax error: `NoMainZone'"},
      {"PKTAREA", "mail x b-box t-box", "\ahere data not found or syntax error: `t-box'"},
      {"TEXTAREA", "mail\\ x", "\ahere incorrect filename `mail\\'\n"},
      {"TEXTAREA", "nosuch/f x", "\ahere path not found: `nosuch/'\n"},
      {"ECHOAREA", "TAG mail", "\ahere error defining echoarea\n"},
      {"ECHOAREA", "TAG", "\ahere error defining echoarea\n"},
      {"ECHOAREA", "TAG -$ 1:2/3", "\ahere error defining echoarea\n"},
      {"ECHOAREA", "TAG mail 1:2", "incorrect addr: `1:2'\n\ahere error defining echoarea\n"},
  };
  for (const char* name : {"log", "half.sqd", "jam.jdt", "jam.jdx"}) touch(name);
  for (const auto& c : cases) EXPECT_EQ(fault(c.name, c.value), c.message) << c.name << " " << c.value;
  for (const auto& list : areas.of_type) EXPECT_TRUE(list.empty());
}

TEST_F(ConfigTest, EchoDefinitions) {
  EXPECT_EQ(set("ECHOAREA", "one mail 1:2/3 -x 1:2/4.5"), "ok");
  EXPECT_EQ(set("ECHOAREA", "two -0 1:2/3 -$"), "ok");
  EXPECT_EQ(set("ECHOAREA", "three mail/base -J -$ 1:2/3"), "ok");
  EXPECT_EQ(set("BADAREA", "bad other -f 1:2/3"), "ok");
  EXPECT_EQ(set("ECHOAREA", "late mail 1:2/3"), "bad area already defined\n\ahere error defining echoarea\n");
  ASSERT_EQ(areas.echoes.size(), 4u);
  EXPECT_EQ(areas.echoes[0].links.size(), 2u);
  EXPECT_EQ(areas.echoes[1].type, area_none);
  EXPECT_TRUE(areas.echoes[3].is_bad);
  EXPECT_TRUE(is_echo_area(area_fido, "ONE") && is_echo_area(area_jam, "three") &&
              is_echo_area(area_fido, "bad"));
  EXPECT_EQ(area_type("two"), area_none);
}

TEST_F(ConfigTest, TimeStampFiles) {
  for (const char* value : {"mail one", "mail two", "mail one"}) EXPECT_EQ(set("FIDOAREA", value), "ok");
  std::string file = dir + "stamps";
  std::string record(24, '\0');
  record.replace(0, 3, "TWO").replace(20, 4, "\x01\x02\x03\x04");
  std::string unknown = record;
  unknown.replace(0, 3, "XXX");
  std::ofstream(file) << unknown << record << "short";
  set_ts("one", 5);
  read_tsfile(file);
  EXPECT_EQ(get_ts("two"), 0x04030201u);
  EXPECT_EQ(get_ts("one"), 0u) << "a file says all that is known";
  set_ts("ONE", 6);
  write_tsfile();
  std::string one(24, '\0');
  one.replace(0, 3, "ONE").replace(20, 1, "\x06");
  EXPECT_EQ(read_file(file), one + record);
  EXPECT_FALSE(ts_in_use());
}

}  // namespace
}  // namespace quelmo
