#include "config/dupe_store.h"

#include "core/crc32.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

class DupeStoreTest : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    config.dupebase_path = dir;
  }
  void TearDown() override {
    flush_db();
    RunTest::TearDown();
  }
  std::string stored(const std::string& tag) const { return read_file(dir + tag + ".dup").value_or("none"); }
};

TEST_F(DupeStoreTest, RemembersAcrossRunsAndForgetsTheOldest) {
  config.dupes_max_msg = 2;
  EXPECT_FALSE(is_dupe("ECHO", 1, 2, "2:1/1 a"));
  EXPECT_TRUE(is_dupe("echo", 1, 2, "2:1/1 a"));
  EXPECT_FALSE(is_dupe("ECHO", 1, 2, "2:1/1 b"));
  EXPECT_FALSE(is_dupe("OTHER", 1, 2, "2:1/1 a"));
  flush_db();
  // On disk: two CRCs, little-endian, and the MSGID in 40 bytes.
  EXPECT_EQ(stored("ECHO").substr(0, 16), std::string("\x01\0\0\0\x02\0\0\0", 8) + "2:1/1 a" + '\0');
  EXPECT_EQ(stored("ECHO").size(), 96u);
  EXPECT_TRUE(is_dupe("ECHO", 1, 2, "2:1/1 b"));
  EXPECT_FALSE(is_dupe("ECHO", 1, 3, "2:1/1 a"));
  EXPECT_FALSE(is_dupe("ECHO", 1, 2, "2:1/1 a")) << "the oldest has given way";
}

TEST_F(DupeStoreTest, FilesLeaveMemoryInTheirOrder) {
  config.dupes_max_open = 1;
  std::ofstream(dir + "A.dup") << std::string(60, '\0');  // a record, and a piece of one
  EXPECT_TRUE(is_dupe("A", 0, 0, ""));
  EXPECT_FALSE(is_dupe("A", 7, 0, "x"));
  EXPECT_FALSE(is_dupe("../B", 7, 0, "x"));
  EXPECT_EQ(stored("A").size(), 96u) << "written when it left memory";
  EXPECT_TRUE(is_dupe("A", 7, 0, "x"));
  EXPECT_EQ(stored(".._B").size(), 48u);
}

TEST_F(DupeStoreTest, ChecksumsOfTheMessage) {
  current.hdr.to = address("2:5/6");
  current.hdr.from = address("2:1/1.7");
  current.hdr.fromname = "Bob";
  current.hdr.toname = "Ann";
  current.hdr.date = "01 May 24  08:00:00";
  current.hdr.subject = "Hi";
  current.hdr.msgid = "2:1/1 a";
  uint32_t header = 0;
  uint32_t msgid = 0;
  msg_crcs(header, msgid);
  EXPECT_EQ(header, crc32_update(0xFFFFFFFF, "2:5/62:1/1.7BobAnn01 May 24  08:00:00Hi"));
  EXPECT_EQ(msgid, crc32_update(0xFFFFFFFF, "2:1/1 a"));
}

}  // namespace
}  // namespace quelmo
