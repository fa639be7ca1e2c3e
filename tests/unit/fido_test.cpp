#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bases/dates.h"
#include "bases/fido.h"
#include "bases/fido_msg.h"
#include "bases/highwater.h"
#include "bases/lastread.h"
#include "core/run_state.h"
#include "platform/path.h"

namespace quelmo {
namespace {

namespace fs = std::filesystem;

class Fido : public testing::Test {
 protected:
  void SetUp() override {
    ::setenv("TZ", "UTC", 1);
    set_time_zone();
    free_highwater();
    char name[] = "/tmp/quelmo-test-XXXXXX";
    dir_ = std::string(::mkdtemp(name)) + "/";
  }
  void TearDown() override { fs::remove_all(dir_); }

  void put(const std::string& name, const std::string& bytes) { std::ofstream(dir_ + name) << bytes; }
  std::string get(const std::string& name) {
    std::ifstream in(dir_ + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::string names() {
    std::vector<std::string> all;
    for (const auto& entry : fs::directory_iterator(dir_)) all.push_back(entry.path().filename());
    std::sort(all.begin(), all.end());
    std::string joined;
    for (const std::string& name : all) joined += name + " ";
    return joined;
  }

  std::string dir_;
};

std::string field(std::string text, size_t width) {
  text.resize(width, '\0');
  return text;
}

// The worked example of docs/formats/msg.md.
std::string worked_example() {
  return field("Ann Other", 36) + field("Bob Sample", 36) + field("Hello", 72) +
         field("01 Jan 99  12:00:00", 20) +
         std::string(
             "\x00\x00\x64\x00\x0a\x00\x00\x00\xe7\x03\xe7\x03"
             "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x01\x01\x00\x00",
             26) +
         std::string("\x01MSGID: 2:999/10 12345678\rHi Bob\r\0", 34);
}

TEST_F(Fido, WorkedExampleReadsAndWritesBack) {
  FidoHeader header;
  LineList text;
  std::time_t time = 0;
  ASSERT_TRUE(parse_fido_msg(worked_example(), header, text, time));
  EXPECT_EQ(header.fromUserName, std::string_view("Ann Other"));
  EXPECT_EQ(header.destNode, 100);
  EXPECT_EQ(header.origNode, 10);
  EXPECT_EQ(header.origNet, 999);
  EXPECT_EQ(header.attribute, 0x0101);
  EXPECT_EQ(time, 915192000);
  ASSERT_EQ(text.size(), 2U);
  EXPECT_EQ(text[1], "Hi Bob\r");
  ASSERT_TRUE(write_fido_msg(dir_ + "1.msg", header, text));
  EXPECT_EQ(get("1.msg"), worked_example());
  struct stat st;
  ASSERT_EQ(::stat((dir_ + "1.msg").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600U);
}

// Each length that a file can be cut to, from a buffer that ends where the file ends.
TEST_F(Fido, EveryTruncationIsReadOrRefused) {
  const std::string whole = worked_example();
  for (size_t size = 0; size <= whole.size(); size++) {
    std::vector<char> exact(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    FidoHeader header;
    LineList text;
    std::time_t time = 0;
    EXPECT_EQ(parse_fido_msg({exact.data(), exact.size()}, header, text, time), size >= fido_header_size);
    EXPECT_LE(text.length(), size < fido_header_size ? 0 : size - fido_header_size);
  }
}

TEST_F(Fido, FieldsWithoutNulAreCut) {
  std::string bytes = worked_example();
  bytes.replace(0, 36, std::string(36, 'A'));
  bytes.replace(72, 72, std::string(72, 'S'));
  FidoHeader header;
  LineList text;
  std::time_t time = 0;
  ASSERT_TRUE(parse_fido_msg(bytes, header, text, time));
  EXPECT_EQ(header.fromUserName.str(), std::string(35, 'A'));
  EXPECT_EQ(header.subject.str(), std::string(71, 'S'));
}

TEST_F(Fido, NamesOfMessages) {
  for (const char* good : {"1.msg", "12.MSG", ".msg", "0.Msg", "007.msg"})
    EXPECT_TRUE(is_msg_name(good)) << good;
  for (const char* bad : {"a12.msg", "12.msg.bak", "12.ms", "12", "1 .msg", ""})
    EXPECT_FALSE(is_msg_name(bad)) << bad;
}

TEST_F(Fido, NumbersGrowAboveWhatStands) {
  for (const char* name : {"3.msg", "7.MSG", "9.txt", "12.msg.bak", "9999999999.msg"}) put(name, "");
  EXPECT_EQ(get_highwater("A", dir_, "msg"), 8U);
  EXPECT_EQ(get_highwater("a", dir_, "msg"), 9U);
  put("10.MSG", "");  // somebody else's, in the other case
  EXPECT_EQ(get_highwater("A", dir_, "msg"), 11U);
  EXPECT_EQ(get_highwater("OTHER", dir_ + "missing/", "msg"), 1U);
}

TEST_F(Fido, NewFilesNeverReplaceOldOnes) {
  put("1.MSG", "old");
  LineList text;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(write_fido_msg(dir_ + "1.msg", FidoHeader(), text));
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(get("1.MSG"), "old");
  EXPECT_EQ(names(), "1.MSG ");
}

TEST_F(Fido, RenumberKeepsEveryMessage) {
  for (const char* name : {"3.msg", "7.MSG", "10.msg", "2.txt"}) put(name, name);
  put("2.MSG", "stands in the way of nobody");
  config.chat = false;
  Area area;
  area.path = dir_;
  area.tag = "A";
  renumber_fido(area);
  EXPECT_EQ(names(), "1.msg 2.msg 2.txt 3.msg 4.msg ");
  EXPECT_EQ(get("2.msg"), "3.msg");
  EXPECT_EQ(get("4.msg"), "10.msg");
}

TEST_F(Fido, LastreadFollowsTheKilledMessage) {
  struct {
    Lastread kind;
    std::string before;
    std::string after;
  } cases[] = {
      {Lastread::fido, std::string("\x0c\x00\x0d\x00\x0c\x00\x0c", 7),
       std::string("\x0a\x00\x0d\x00\x0a\x00\x0c", 7)},
      {Lastread::squish, std::string("\x0c\x00\x00\x00\x0c\x00\x01\x00", 8),
       std::string("\x0a\x00\x00\x00\x0c\x00\x01\x00", 8)},
      {Lastread::jam,
       std::string("\x0c\0\0\0\x0c\0\0\0\x0c\0\0\0\x0d\0\0\0\x0c\0\0\0\x0c\0\0\0\x0b\0\0\0\x0c\0\0\0", 32),
       std::string("\x0c\0\0\0\x0c\0\0\0\x0a\0\0\0\x0d\0\0\0\x0c\0\0\0\x0c\0\0\0\x0b\0\0\0\x0a\0\0\0", 32)},
  };
  for (const auto& c : cases) {
    put("lr", c.before);
    fix_lastread(open_file(dir_ + "lr", Open::update), c.kind, 12, 10);
    EXPECT_EQ(get("lr"), c.after);
  }
  // 65548 is no number of a 16-bit record, though its low half is 12.
  put("lr", std::string("\x0c\x00", 2));
  fix_lastread(open_file(dir_ + "lr", Open::update), Lastread::fido, 65548, 1);
  EXPECT_EQ(get("lr"), std::string("\x0c\x00", 2));
}

}  // namespace
}  // namespace quelmo
