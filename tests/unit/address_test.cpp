#include "core/address.h"

#include <gtest/gtest.h>

namespace quelmo {
namespace {

TEST(Address, AcceptsOnlyTheFullForms) {
  struct {
    const char* text;
    int strict;
    int wild;
    const char* shown;
    const char* domain;
  } cases[] = {
      {"1:23/45", 1, 1, "1:23/45", ""},
      {"1:23/45.6@testnet", 1, 1, "1:23/45.6", "testnet"},
      {"1:23/45.@net", 1, 1, "1:23/45", "net"},
      {"1:23", 0, 0, "", ""},
      {"23/45", 0, 0, "", ""},
      {"1:23/", 0, 0, "", ""},
      {"1:/45", 0, 0, "", ""},
      {":23/45", 0, 0, "", ""},
      {"1/23:45", 0, 0, "", ""},
      {"1:2@x/3", 0, 0, "", ""},
      {"1:23/45 ", 0, 0, "", ""},
      {"1:*/*.*", 0, 1, "1:*/*.*", ""},
      {"1:23/#", 0, 1, "1:23/65534", ""},
      {"1:**/1", 0, 0, "", ""},
      {"-1:2/3", 1, 1, "*:2/3", ""},
      {"65537:2/3", 1, 1, "1:2/3", ""},
      // The widths of the fields cut before the digits are tested.
      {"12345678:1/2", 1, 1, "54919:1/2", ""},
      {"1:2/3.45678901234", 1, 1, "1:2/3.45906", ""},
  };
  for (const auto& c : cases) {
    FtnAddr strict;
    FtnAddr wild;
    EXPECT_EQ(addr_parse(c.text, strict), c.strict) << c.text;
    EXPECT_EQ(addr_parse_wild(c.text, wild), c.wild) << c.text;
    if (c.wild != 0) {
      EXPECT_EQ(addr_to_text(wild), c.shown) << c.text;
      EXPECT_EQ(wild.domain, std::string_view(c.domain)) << c.text;
    }
  }
}

TEST(Address, FailureLeavesTheOldValue) {
  FtnAddr addr = {.zone = 9, .net = 8, .node = 7, .point = 6, .domain = "x"};
  EXPECT_EQ(addr_parse("1:2/x", addr), 0);
  EXPECT_EQ(addr_to_text(addr), "9:8/7.6");
}

TEST(Address, FirstAddressOfATextStandsBetweenBlanksAndCommas) {
  FtnAddr addr;
  EXPECT_EQ(first_addr("Via,2:999/100.1@net, 2:1/1", addr), 1);
  EXPECT_EQ(addr_to_text(addr), "2:999/100.1");
  EXPECT_EQ(first_addr("nothing 2:5 here", addr), 0);
}

}  // namespace
}  // namespace quelmo
