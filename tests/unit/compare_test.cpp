#include "select/compare.h"

#include "run_fixture.h"

namespace quelmo {
namespace {

TEST(Compare, Addresses) {
  struct {
    const char* addr;
    const char* pattern;
    bool fits;
    bool any_point;
  } cases[] = {
      {"2:500/1", "2:500/1", true, true},
      {"2:500/1.5", "2:500/1", false, true},
      {"2:500/1.5", "2:500/1.5@other", true, true},
      {"2:500/1.5", "2:500/1.*", true, true},
      {"2:500/1", "2:500/1.*", true, true},
      {"2:500/1", "2:500/1.5", false, true},
      {"2:500/7", "2:500/*", true, true},
      {"2:500/7.1", "2:500/*", false, true},
      {"2:500/7.1", "2:500/*.*", true, true},
      {"2:501/7", "2:500/*", false, false},
      {"3:500/7", "2:500/*", false, false},
      {"3:1/7.9", "*:*/*.*", true, true},
      {"3:1/7", "#:*/*", true, true},
      // What only a nodelist can tell; no address is listed.
      {"2:500/7", "2:500/#", false, false},
      {"2:2/7", "2:#/*", false, false},
      {"2:500/7", "2:500/7.#", false, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(comp_aadrs(address(c.addr), address(c.pattern)), c.fits) << c.addr << " " << c.pattern;
    EXPECT_EQ(comp_aadrs(address(c.addr), address(c.pattern), true), c.any_point)
        << c.addr << " " << c.pattern;
  }
}

TEST(Compare, Texts) {
  std::string long_text = std::string(255, '.') + "x";
  struct {
    std::string text;
    std::string pattern;
    bool exact;
    bool relaxed;
  } cases[] = {
      {"John", "John", true, true},
      {"John", "john", false, true},
      {"John Doe", "HN D", false, true},
      {"John", "Johnny", false, false},
      {"", "", true, true},
      {"John", "", false, true},
      {"", "x", false, false},
      {"aab", "AB", false, true},
      // Letters above 127 have no case here.
      {"\xC4", "\xE4", false, false},
      {long_text, "x", false, false},
      {long_text, "." + long_text, false, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(comp_str(c.text, c.pattern, false), c.exact) << c.text << " " << c.pattern;
    EXPECT_EQ(comp_str(c.text, c.pattern, true), c.relaxed) << c.text << " " << c.pattern;
  }
}

TEST(Compare, HubsTakeTheAddressWhereThePatternIsWild) {
  EXPECT_EQ(addr_to_text(hub_of(address("2:500/7.1"), address("*:500/#.#"))), "2:500/7");
  EXPECT_EQ(addr_to_text(hub_of(address("2:500/7.1"), address("2:501/9.#"))), "2:501/9");
}

using CompareLog = RunTest;

TEST_F(CompareLog, HubSegmentsAreTraced) {
  config.debug_level = 5;
  EXPECT_FALSE(comp_aadrs(address("2:500/7.1"), address("2:*/9.#")));
  EXPECT_EQ(log(),
            "comp_aadrs: check if node 2:500/7.1 is in hub segment of 2:500/9\n"
            "comp_aadrs: addrs don`t match\n");
}

}  // namespace
}  // namespace quelmo
