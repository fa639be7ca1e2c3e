#include "nodelist/routing.h"

#include "config/areas.h"
#include "message/attributes.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

class Routing : public RunTest {
 protected:
  static std::string routed(const char* to) {
    Msg msg;
    msg.to = address(to);
    msg.flavor = flavor_normal;
    set_route("r", msg);
    return addr_to_text(msg.routeto) + " " + flavor_to_text(msg.flavor);
  }
};

TEST_F(Routing, TheFirstTargetThatFitsDecides) {
  define("ROUTING", "r", "CRASH !NORMAL 2:500/1 2:500/* 2:501/7.5");
  define("ROUTING", "r", "2:9/9 2:500/*.*");
  define("ROUTING", "r", "HOLD IMM !HOLD 2:*/0.* 2:502/*.*");
  define("ROUTING", "r", "*:*/#.* 2:503/*.*");
  define("ROUTING", "r", "1:1/1 2:504/# 2:504/5.#");
  define("ROUTING", "r", "*:*/* 3:*/*.*");
  struct {
    const char* to;
    const char* route;
  } cases[] = {
      {"2:500/7", "2:500/1 CRASH"},          {"2:500/7.1", "2:9/9 NORMAL"},
      {"2:501/7.5", "2:500/1 CRASH"},        {"2:501/7", "2:501/7 NORMAL"},  // no rule: direct
      {"2:502/7.3", "2:502/0.3 IMM NORMAL"},                                 // flavours apply in order
      {"2:503/7.3", "2:503/7.3 NORMAL"},                                     // hub unknown: the node itself
      {"2:504/5", "2:504/5 NORMAL"},  // no nodelist: neither region nor hub fits
      {"3:5/7.3", "3:5/7 NORMAL"},    // a destination without a point has point 0
  };
  for (const auto& c : cases) EXPECT_EQ(routed(c.to), c.route) << c.to;
}

TEST_F(Routing, HashInATargetThatAsksForNoRegionIsAWildcard) {
  define("ROUTING", "r", "1:1/1 2:500/#.5");
  EXPECT_EQ(routed("2:500/7.5"), "2:500/7.5 NORMAL");  // point equal: a region
  EXPECT_EQ(routed("2:500/7.6"), "2:500/7.6 NORMAL");
}

TEST_F(Routing, AnUnknownBlockStopsTheRun) {
  EXPECT_EQ(stop_message([] { routed("2:5/1"); }), "block not defined: `r'\n");
}

TEST_F(Routing, TheDomainIsThatOfTheAddressee) {
  define("ROUTING", "r", "1:1/1@other *:*/*.*");
  Msg msg;
  msg.to = address("2:5/1@fidonet");
  set_route("r", msg);
  EXPECT_EQ(msg.routeto.domain.view(), "fidonet");
}

TEST_F(Routing, LoopsShowInTheViaLines) {
  define("SYSTEM", "sys", "2:5/1 fidonet 2");
  define("ROUTING", "r", "2:500/1 *:*/*.*");
  define("ROUTING", "direct", "*:*/*.* *:*/*.*");
  Area area;
  area.tag = std::string_view("NETMAIL");
  area.system = std::string_view("SYS");
  store_area(area);
  CurMsg.tag = std::string_view("NETMAIL");
  current.vias.split(
      "\x01Via 2:5/1 @20240101.000000.UTC x\r\x01Via 2:500/1 @20240101.000000.UTC x\r"
      "\x01Via 2:5/1 @20240101.000000.UTC x\r");
  Msg msg;
  msg.to = address("2:501/9");
  set_route("r", msg);
  EXPECT_EQ(msg.intattr, static_cast<uint32_t>(int_zaloop | int_changed));
  msg.intattr = int_zaloop;
  set_route("r", msg);
  EXPECT_EQ(msg.intattr, static_cast<uint32_t>(int_zaloop));  // nothing new
  set_route("direct", msg);
  EXPECT_EQ(msg.intattr, static_cast<uint32_t>(int_changed));
  areas = AreaLists();
}

TEST_F(Routing, RoutesAreLogged) {
  config.debug_level = 4;
  define("ROUTING", "r", "2:9/# 2:50/#.* 2:500/1.# 2:501/*");
  routed("2:500/7");
  routed("2:501/7");
  EXPECT_EQ(log(),
            "setrouting: region match requested\n"
            "setrouting: region for 2:500/7 not found\n"
            "setrouting: check if node 2:500/7 is in hub segment of 2:500/1\n"
            "setrouting: check failed\n"
            "setrouting: no routing found, do direct routing to 2:500/7\n"
            "setrouting: region match requested\n"
            "setrouting: region for 2:501/7 not found\n"
            "setrouting: hubrouting requested by `#'\n"
            "setrouting: message to 2:501/7 routed to 2:9/7\n");
}

}  // namespace
}  // namespace quelmo
