#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/crc32.h"
#include "nodelist/list_lines.h"
#include "nodelist/lookup.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

// The worked example of docs/formats/nodeidx.md and ver9idx.md.
constexpr char example_list[] =
    "Zone,2,Europe,City,Sysop,1,300\r\n"
    ",1,Staff,City,Sysop,1,300\r\n"
    "Host,999,Net,City,Sysop,1,300\r\n"
    ",100,Node,City,Sysop,1,300\r\n";
const std::string example_idx(
    "\0\0\0\0\x02\0\0\0\x01\0\0\0\0\0\0\0\x02\0\0\0\xe7\x03\0\0\x01\0\0\0\x3b\0\0\0", 32);
const std::string example_inc("\x0cNODELIST.001\0\0\0\xde\x45\xac\xb1", 20);
const std::string example_v9(
    "\x02\0\x02\0\x02\0\x02\0\x68\0\0\0\xe7\x03\x02\0\x02\0\x02\0\x70\0\0\0\xff\xff\x02\0\x02\0\x01\0\x78\0\0"
    "\0"
    "\0\0\0\0\x01\0\0\0\0\0\0\0\x64\0\0\0\0\0\0\0",
    56);

constexpr char world[] =
    ";A A list of two zones\n"
    "Zone,2,Europe,C,S,1,300\n"
    ",7,Zone_Staff,C,S,1,300\n"
    "Region,50,Fifty,C,S,1,300\n"
    ",4,Region_Node,C,S,1,300\n"
    "Host,999,Net,C,S,1,300\n"
    ",1,Above_Hubs,C,S,1,300\n"
    ";S a comment inside\n"
    "Hub,200,Hub_One,C,Hub_Sysop,1,300\n"
    ",201,Below,C,S,1,300\n"
    "Down,202,Gone,C,S,1,300\n"
    "Hold,203,Held,C,S,1,300\n"
    "Hub,300,Hub_Two,C,S,1,300\n"
    "Pvt,301,Private,C,S,1,300\n"
    ",12345678,Too_Long,C,S,1,300\n"
    "Zone,3,Oz,C,S,1,300\n"
    "Host,999,Oz_Net,C,S,1,300\n"
    ",5,Oz_Node,C,S,1,300\n"
    "\x1a";

class Nodelists : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    free_nodelists();
    config.chat = false;
    config.main_address = address("2:999/100");
  }

  void put(const std::string& name, const std::string& bytes) {
    std::ofstream(dir + name, std::ios::binary) << bytes;
  }
  std::string get(const std::string& name) {
    std::ifstream in(dir + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  // Both kinds of block over the same lists.
  void define_both(const std::string& templates, const std::string& zone = "",
                   const std::string& v9_zone = "") {
    blocks.nodelist.clear();
    blocks.version9.clear();
    free_tags();
    define("NODELIST", "N", "ndx " + zone + " " + dir + " " + templates);
    define("VERSION9", "V", "v9 " + v9_zone + " " + dir + " " + templates);
  }
  std::string ndl(const std::string& text) {
    uint16_t uplink = 0;
    uint16_t region = 0;
    if (!is_listed(blocks.nodelist[0], address(text), uplink, region)) return "-";
    return std::to_string(uplink) + " in " + std::to_string(region);
  }
  std::string v9(const std::string& text) {
    uint16_t zone = 0;
    uint16_t uplink = 0;
    uint16_t region = 0;
    if (!is_v9_listed(blocks.version9[0], address(text), zone, region, uplink)) return "-";
    return std::to_string(uplink) + " in " + std::to_string(region) + " of " + std::to_string(zone);
  }
};

TEST_F(Nodelists, CrcIsTheCommonOne) {
  EXPECT_EQ(~crc32_update(crc32_start, "123456789"), 0xCBF43926U);
  std::string text(1000, 'x');
  for (size_t cut : {0U, 1U, 7U, 8U, 9U, 999U}) {
    uint32_t crc = crc32_update(crc32_start, std::string_view(text).substr(0, cut));
    EXPECT_EQ(crc32_update(crc, std::string_view(text).substr(cut)), crc32_update(crc32_start, text)) << cut;
  }
}

TEST_F(Nodelists, WorkedExample) {
  put("NODELIST.001", example_list);
  define_both("NODELIST");
  EXPECT_EQ(get("nodeidx.ndx"), example_idx);
  EXPECT_EQ(get("nodeinc.ndx"), example_inc);
  EXPECT_EQ(get("ver9idx.v9").substr(68), example_v9);
  EXPECT_EQ(get("ver9inc.v9"), example_inc);
}

TEST_F(Nodelists, LookUps) {
  put("NODELIST.001", world);
  define_both("NODELIST.???");
  struct {
    const char* addr;
    const char* ndl;
    const char* v9;
  } cases[] = {
      {"2:2/0", "-", "0 in 2 of 2"},
      {"2:2/7", "-", "0 in 2 of 2"},  // the lines of a zone itself are no net for the first kind
      {"2:50/4", "0 in 50", "0 in 50 of 2"},
      {"2:999/0", "0 in 50", "0 in 50 of 2"},
      {"2:999/1", "0 in 50", "0 in 50 of 2"},
      {"2:999/200", "200 in 50", "200 in 50 of 2"},
      {"2:999/201.7", "200 in 50", "200 in 50 of 2"},
      {"2:999/202", "-", "200 in 50 of 2"},  // Down
      {"2:999/203", "200 in 50", "200 in 50 of 2"},
      {"2:999/301", "300 in 50", "300 in 50 of 2"},
      {"2:999/302", "-", "-"},
      {"2:998/1", "-", "-"},
      {"3:999/5", "0 in 50", "0 in 3 of 3"},
      {"3:999/1", "-", "-"},
      {"0:999/5", "-", "0 in 3 of 3"},  // without a zone all nets of the number are looked through
      {"4:999/5", "-", "-"},
      {"2:0/1", "-", "-"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(v9(c.addr), c.v9) << c.addr;
    EXPECT_EQ(ndl(c.addr), c.ndl) << c.addr;
  }
  blocks.nodelist[0].active = blocks.version9[0].active = false;
  EXPECT_EQ(ndl("2:999/1") + v9("2:999/1"), "--");
}

TEST_F(Nodelists, ListsWithoutAZoneUseTheirDefault) {
  put("REGION.001", "Region,50,R,C,S,1,300\nHost,999,N,C,S,1,300\n,1,A,C,S,1,300\n");
  define_both("REGION", "", "2 50");
  EXPECT_EQ(ndl("2:999/1"), "0 in 50");  // the zone of the main address
  EXPECT_EQ(ndl("3:999/1"), "-");
  EXPECT_EQ(v9("2:999/1"), "0 in 50 of 2");
  define_both("REGION", "3", "3 60");
  EXPECT_EQ(ndl("3:999/1"), "0 in 50");
  ASSERT_TRUE(v9_kind.build(blocks.version9[0].entries[0]));
  EXPECT_EQ(v9("3:999/1"), "0 in 50 of 3");
  EXPECT_NE(stop_message([&] { define("VERSION9", "W", "w9 " + dir + " REGION"); }).find("rebuild failed"),
            std::string::npos);
  EXPECT_NE(log().find("no default zone/reg defined"), std::string::npos);
}

TEST_F(Nodelists, SeveralListsAreOneIndex) {
  put("A.001", "Zone,1,Z,C,S,1,300\nHost,10,N,C,S,1,300\n,1,A,C,S,1,300\n");
  put("A_LONG_NAME_OF_A_LIST.002",
      "Zone,2,Z,C,S,1,300\nHost,20,N,C,S,1,300\nHub,5,H,C,S,1,300\n,2,B,C,S,1,300\n");
  define_both("A.??? A_LONG_NAME_OF_A_LIST");
  EXPECT_EQ(ndl("1:10/1") + v9("1:10/1"), "0 in 00 in 1 of 1");
  EXPECT_EQ(ndl("2:20/2") + v9("2:20/2"), "5 in 05 in 2 of 2");
  // The long name is compared over what is stored of it: nothing is made anew.
  std::string index = dir + "nodeidx.ndx";
  auto before = file_info(index)->inode;
  define_both("A.??? A_LONG_NAME_OF_A_LIST");
  EXPECT_EQ(file_info(index)->inode, before);
}

TEST_F(Nodelists, StaleAndDamagedIndexesAreMadeAnew) {
  put("NODELIST.001", world);
  define_both("NODELIST");
  std::string files[] = {"nodeidx.ndx", "nodeinc.ndx", "ver9idx.v9", "ver9inc.v9"};
  for (const std::string& file : files) {
    std::string whole = get(file);
    auto fixed = [&] {  // the time in the header differs from build to build
      std::string bytes = get(file);
      if (file == "ver9idx.v9") bytes.replace(20, 4, whole, 20, 4);
      return bytes == whole;
    };
    for (size_t size = 0; size < whole.size(); size++) {
      put(file, whole.substr(0, size));
      define_both("NODELIST");
      ASSERT_TRUE(fixed()) << file << " cut to " << size;
    }
    std::filesystem::remove(dir + file);
    define_both("NODELIST");
    ASSERT_TRUE(fixed()) << file << " missing";
  }
  std::string changed = world;
  changed.replace(changed.find(",5,Oz"), 5, ",6,Oz");
  put("NODELIST.001", changed);
  define_both("NODELIST");
  EXPECT_EQ(ndl("3:999/6") + v9("3:999/6"), "0 in 500 in 3 of 3");
  EXPECT_EQ(ndl("3:999/5") + v9("3:999/5"), "--");
}

// What another program does to the files between two look-ups.
TEST_F(Nodelists, FilesAreTheTruthDuringARun) {
  put("NODELIST.001", world);
  define_both("NODELIST");
  std::string idx = get("nodeidx.ndx");
  std::string v9_bytes = get("ver9idx.v9");
  EXPECT_EQ(ndl("2:999/201"), "200 in 50");
  for (size_t size = 0; size < idx.size(); size++) {
    put("nodeidx.ndx", idx.substr(0, size));
    std::string found = ndl("2:999/201");
    ASSERT_TRUE(found == "-" || found == "200 in 50") << size;
  }
  for (size_t size = 0; size < v9_bytes.size(); size++) {
    put("ver9idx.v9", v9_bytes.substr(0, size));
    ASSERT_EQ(v9("2:999/201"), "-") << size;
  }
  for (size_t at = 0; at < v9_bytes.size(); at++) {  // no byte that lies leads out of the file
    std::string bytes = v9_bytes;
    bytes[at] = static_cast<char>(~bytes[at]);
    put("ver9idx.v9", bytes);
    for (const char* addr : {"2:999/201", "3:999/5", "0:999/301", "2:50/4"}) v9(addr);
  }
  std::string offset = idx;
  offset.replace(44, 4, std::string(4, '\x7f'));
  put("nodeidx.ndx", offset);
  EXPECT_EQ(ndl("2:50/4") + ndl("2:999/201"), "0 in 50-");
  put("nodeidx.ndx", idx);
  std::string moved = world;
  moved.replace(moved.find("Host,999"), 8, "Pvt,9999");
  put("NODELIST.001", moved);
  EXPECT_EQ(ndl("2:999/201"), "-")
      << "the line of the net is another one now: its nodes may be another net's";
  std::filesystem::remove(dir + "NODELIST.001");
  EXPECT_NE(stop_message([&] { ndl("2:999/201"); }).find("error opening nodelist file"), std::string::npos);
}

TEST_F(Nodelists, OddLines) {
  std::string list = "Zone,2,Z,C,S,1,300\nHost,999,N,C,S,1,300\n";
  list += ",1," + std::string(5000, 'x') + "\n";
  list += "Host\nHost,\nHost,x,y\n,,,\n,99999,Over,C,S,1,300\n,2\nnonsense\n\n\r\n,3,Three,C,S,1,300";
  put("L.001", list);
  define_both("L");
  EXPECT_EQ(ndl("2:999/1") + v9("2:999/1"), "0 in 00 in 2 of 2");
  EXPECT_EQ(ndl("2:999/3") + v9("2:999/3"), "0 in 00 in 2 of 2");
  EXPECT_EQ(ndl("2:999/34463") + v9("2:999/34463"), "--");  // 99999 in 16 bits
  EXPECT_EQ(ndl("2:999/3"), "0 in 0");
  EXPECT_EQ(last_node_line(), ",3,Three,C,S,1,300");
  put("L.001", "Zone,x,Z,C,S\nHub,5,Stray,C,S\n,6,Stray,C,S\nZone,2,Z,C,S\n,1,Above,C,S\nHub,7,H,C,S\n");
  define_both("L");
  EXPECT_EQ(v9("2:2/0") + v9("2:2/1"), "0 in 2 of 20 in 2 of 2") << "a hub ahead of all nets is nobody's";
  EXPECT_EQ(v9("2:2/7"), "7 in 2 of 2");
  put("L.001", "");
  define_both("L", "", "2 2");
  EXPECT_EQ(ndl("2:999/1") + v9("2:999/1"), "--");
}

TEST_F(Nodelists, MoreThan255HubsInANet) {
  std::string list = "Zone,2,Z,C,S,1,300\nHost,999,N,C,S,1,300\n";
  for (int hub = 1; hub <= 257; hub++) {
    list += "Hub," + std::to_string(hub * 10) + ",H,C,S,1,300\n," + std::to_string(hub * 10 + 1) +
            ",N,C,S,1,300\n";
  }
  put("L.001", list);
  define_both("L");
  EXPECT_EQ(v9("2:999/2551"), "2550 in 2 of 2");
  EXPECT_EQ(v9("2:999/2571"), "0 in 2 of 2");
  EXPECT_EQ(ndl("2:999/2571"), "2570 in 0");
}

}  // namespace
}  // namespace quelmo
