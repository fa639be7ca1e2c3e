#include "bases/outbound_names.h"

#include "message/attributes.h"
#include "platform/bytes_case.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

class OutboundNames : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    config.main_address = {.zone = 2, .net = 5020, .node = 1, .domain = "fidonet"};
    define("SYSTEM", "SYS", "2:5020/1 fidonet.org 1 2 3 4 5 6");
    define("SYSTEM", "SYS", "99:1/1 Other 99 4095 4096 65534");
  }
  static Area area(OutboundKind kind, std::string_view path) {
    Area a;
    a.type = area_bink;
    a.path = path;
    a.system = "SYS";
    a.outbound_kind = kind;
    return a;
  }
};

TEST_F(OutboundNames, WhatIsWritten) {
  Area bink = area(outbound_binkley, "C:\\FIDO\\OUT\\");
  FtnAddr node = address("2:5020/100");
  FtnAddr point = address("1:100/200.3");
  EXPECT_EQ(outbound_name(bink, node, OutFile::packet, 'h'), "C:\\FIDO\\OUT\\139c0064.hut");
  EXPECT_EQ(outbound_name(bink, point, OutFile::packet, 'c'),
            "C:\\FIDO\\OUT.001\\006400c8.pnt\\00000003.cut");
  EXPECT_EQ(outbound_name(bink, point, OutFile::flag), "C:\\FIDO\\OUT.001\\006400c8.pnt\\00000003.bsy");
  bink.no_main_zone = true;
  EXPECT_EQ(outbound_name(bink, node, OutFile::request), "C:\\FIDO\\OUT.002\\139c0064.req");
  bink.multi_domain = true;
  EXPECT_EQ(outbound_name(bink, node, OutFile::list, 'f'), "C:\\FIDO\\OUT\\fidonet.org.002\\139c0064.flo");
  Area brake = area(outbound_brake, "/out/");
  EXPECT_EQ(outbound_name(brake, point, OutFile::packet, 'h'), "/out/fidonet.org.1.100.200.3.Hold.Mail");
  EXPECT_EQ(outbound_name(brake, node, OutFile::list, 'f'), "/out/fidonet.org.2.5020.100.0.Normal.List");
  EXPECT_EQ(outbound_name(brake, node, OutFile::flag), "/out/fidonet.org.2.5020.100.0.Busy");
  EXPECT_EQ(outbound_name(area(outbound_amiga4d, "out/"), point, OutFile::packet, 'o'),
            "out/1.100.200.3.out");
}

// Every name is read back as the address and the kind that it was made from, in all layouts, wherever the
// outbound lies and whatever the case of its letters.
TEST_F(OutboundNames, RoundTrip) {
  const uint16_t numbers[] = {0, 1, 9, 10, 15, 16, 255, 256, 999, 4095, 4096, 9999, 32767, 65534};
  const uint16_t zones[] = {1, 2, 3, 99, 4095, 4096, 65534};
  const char* const paths[] = {"/spool/ftn.out/", "out/", "C:\\FIDO\\OUT.002\\",
                               "/o.ut.x/y.002/00010002.pnt/", ""};
  std::vector<Area> all;
  for (const char* path : paths) {
    for (OutboundKind kind : {outbound_brake, outbound_amiga4d}) all.push_back(area(kind, path));
    for (int flags = 0; flags < 4; flags++) {
      all.push_back(area(outbound_binkley, path));
      all.back().no_main_zone = (flags & 1) != 0;
      all.back().multi_domain = (flags & 2) != 0;
    }
  }
  const std::pair<OutFile, std::string_view> kinds[] = {
      {OutFile::packet, "hicdo"}, {OutFile::list, "hicdf"}, {OutFile::request, "o"}, {OutFile::flag, "o"}};
  size_t n = 0;
  for (const Area& a : all) {
    for (uint16_t zone : zones) {
      for (uint16_t net : numbers) {
        for (uint16_t point : numbers) {
          FtnAddr to = {.zone = zone, .net = net, .node = numbers[n++ % std::size(numbers)], .point = point};
          const auto& [what, letters] = kinds[n % std::size(kinds)];
          char letter = letters[n % letters.size()];
          std::string path = outbound_name(a, to, what, letter);
          std::optional<OutboundName> read = read_outbound_name(a, n % 3 == 0 ? upper(path) : path);
          ASSERT_TRUE(read) << path;
          EXPECT_TRUE(addr_equal(read->to, to)) << path << " reads as " << addr_to_text(read->to);
          EXPECT_EQ(read->what, what) << path;
          EXPECT_EQ(read->letter, letter) << path;
          EXPECT_EQ(flag_of_path(a, path), outbound_name(a, to, OutFile::flag));
        }
      }
    }
  }
}

TEST_F(OutboundNames, AlmostRightNamesAreNone) {
  Area bink = area(outbound_binkley, "/out/");
  for (const char* path :
       {"/out/139c006.out", "/out/139c00640.out", "/out/139c006g.out", "/out/139c0064.xut",
        "/out/139c0064.oux", "/out/139c0064.", "/out/139c0064", "139c0064.out", ".out", "",
        "/other/139c0064.out", "/out.0002/139c0064.out", "/out.xyz/139c0064.out",
        "/out/139c0064.pnt/00010000.out", "/out/139c064.pnt/00000001.out", "/out/+1390064.out"}) {
    EXPECT_FALSE(read_outbound_name(bink, path)) << path;
  }
  Area brake = area(outbound_brake, "/out/");
  for (const char* path :
       {"/out/f.2.3.4.Hold.Mail", "/out/f.2.3.4.5.Held.Mail", "/out/f.2.3.4.5.Hold.Post",
        "/out/f.2.3.4.65536.Hold.Mail", "/out/f.2.3.4..Hold.Mail", "/out/f.2.3.-4.5.Busy"}) {
    EXPECT_FALSE(read_outbound_name(brake, path)) << path;
  }
  EXPECT_EQ(flag_of_path(area(outbound_amiga4d, "/o.x/"), "/o.x/abc.out"), "/o.x/abc.bsy");
}

TEST_F(OutboundNames, FlavoursOfNames) {
  Area bink = area(outbound_binkley, "/out/");
  Area brake = area(outbound_brake, "/out/");
  EXPECT_EQ(flavor_of_name(bink, "/out/00010002.Hut"), flavor_hold);
  EXPECT_EQ(flavor_of_name(bink, "/out/00010002.ilo"), flavor_imm);
  EXPECT_EQ(flavor_of_name(bink, "/out/00010002.out"), 0);
  EXPECT_EQ(flavor_of_name(brake, "/out/f.2.3.4.5.Hold.Mail"), flavor_hold);
  EXPECT_EQ(flavor_of_name(brake, "/out/f.2.3.4.5.Normal.List"), 0);
  EXPECT_EQ(flavor_letter(flavor_dir | flavor_hold, OutFile::list), 'h');
  EXPECT_EQ(flavor_letter(flavor_normal, OutFile::list), 'f');
}

TEST_F(OutboundNames, AFlagIsRemovedOnlyByItsMaker) {
  std::string flag = dir + "00010002.bsy";
  BusyFlag held;
  ASSERT_TRUE(set_bsy(flag, held));
  EXPECT_TRUE(file_exists(flag));
  BusyFlag other;
  EXPECT_FALSE(set_bsy(flag, other));
  config.ignore_bsy = true;
  EXPECT_TRUE(set_bsy(flag, other));
  kill_bsy(other);
  EXPECT_TRUE(file_exists(flag));
  kill_bsy(held);
  EXPECT_FALSE(file_exists(flag));
  config.ignore_bsy = false;
  ASSERT_TRUE(set_bsy(flag, held));
  touch("another's");
  ASSERT_TRUE(replace_file(dir + "another's", flag, false));
  kill_bsy(held);
  EXPECT_TRUE(file_exists(flag));
}

}  // namespace
}  // namespace quelmo
