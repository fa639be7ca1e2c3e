#include "message/macros.h"

#include <gtest/gtest.h>

#include <string>

#include "config/global_vars.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

class Macros : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    free_global_vars();
    config.main_address = address("2:999/100");
  }
  static std::string expanded(std::string text) {
    expand_config(text);
    return text;
  }
};

TEST_F(Macros, ConfigurationTextsHaveAWidth) {
  set_global_var("LONG", std::string(300, 'v'));
  set_global_var("X", "12");
  // Exactly 255 bytes are expanded, one more stays as it is.
  EXPECT_EQ(expanded(std::string(252, 'a') + "%X%"), std::string(252, 'a') + "12");
  EXPECT_EQ(expanded(std::string(253, 'a') + "%X%"), std::string(253, 'a') + "%X%");
  // What grows past the width is cut.
  EXPECT_EQ(expanded("ab%%LONG%%").size(), 255U);
  EXPECT_EQ(expanded("ab%LONG%cd"), "ab" + std::string(253, 'v'));
  EXPECT_EQ(expanded(std::string(250, 'a') + "%%X%%" + std::string(0, 'b')), std::string(250, 'a') + "12");
}

TEST_F(Macros, ValuesAreExpandedInTheirTurnUntilTheyTurnInACircle) {
  config.debug_level = 2;
  define("MACRO", "m", "A %A%");
  define("MACRO", "m", "B <%C%>");
  define("MACRO", "m", "C c%B%");
  define("MACRO", "m", "D %E%%E%");
  define("MACRO", "m", "E e");
  EXPECT_EQ(expanded("%A%"), "%A%");
  EXPECT_EQ(log(), "recursion level exceeded for a macro in `%A%'\n");
  EXPECT_EQ(expanded("%D%-%D%"), "ee-ee");
  EXPECT_EQ(expanded("x%B%").size(), 255U);
}

TEST_F(Macros, TextsMayGrowButNotWithoutEnd) {
  std::string twelve;
  for (int i = 0; i < 12; i++) twelve += "%T%";
  define("MACRO", "m", "T " + twelve);
  std::string text = "%T%";
  expand_macro(text);
  EXPECT_GT(text.size(), 60000U);
  EXPECT_LT(text.size(), 2000000U);
  text = std::string(300000, 'x') + "%SYSTEM%";
  expand_macro(text);
  EXPECT_EQ(text, std::string(300000, 'x') + "2:999/100");
}

TEST_F(Macros, WithoutAMessageOnlySomeHaveAValue) {
  CurMsg.msgno = 0;
  EXPECT_EQ(expanded("%FROM% %SYSTEM%"), "%FROM% 2:999/100");
  CurMsg.msgno = 1;
  // A packet's addresses outside of packets: nothing in one expander, unknown in the other.
  EXPECT_EQ(expanded("<%pktfrom%>"), "<>");
  std::string text = "<%pktfrom%>";
  expand_macro(text);
  EXPECT_EQ(text, "<%pktfrom%>");
}

}  // namespace
}  // namespace quelmo
