// JAM bases: the documented bytes, and packs that end well, fail, or are killed.
#include "bases/jam.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "bases/jam_check.h"
#include "bases/jam_pack.h"
#include "bases/jam_text.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

class JamTest : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    config.chat = false;
    area.type = area_jam;
    area.tag = "ECHO";
    area.path = dir + "echo";
  }
  void TearDown() override {
    jam_close();
    RunTest::TearDown();
  }

  void fill(int count, size_t size) {
    create_new_jambase(area.path);
    for (int i = 1; i <= count; i++) {
      Msg msg;
      msg.toname = "All";
      msg.subject = std::to_string(i);
      LineList text;
      text.split(std::string(size, static_cast<char>('a' + i % 26)) + "\r");
      EXPECT_EQ(jam_add(area, msg, text), static_cast<uint32_t>(i));
    }
  }

  bool select(const std::string& path) {
    CurMsg = CurrentArea();
    CurMsg.type = area_jam;
    CurMsg.tag = "ECHO";
    CurMsg.path = path;
    Area other = area;
    other.path = path;
    return jam_select(other);
  }

  void kill_every(int n) {
    ASSERT_TRUE(select(area.path.str()));
    for (int i = 1; jam_read("test"); i++) {
      if (i % n == 0) {
        EXPECT_TRUE(jam_kill());
      }
    }
    jam_close();
  }

  /// Subjects and texts of a base; "damaged" if it isn't whole.
  std::string contents(const std::string& path) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Look look = {.check = true};
    bool whole = jam_look(path, look);
    std::string faults = testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    // Of an image beside the base the check speaks, too.
    if (!whole || (look.faults != 0 && faults.find("the base is whole") == std::string::npos))
      return "damaged";
    std::string all;
    EXPECT_TRUE(select(path));
    for (current = CurrentMessage(); jam_read("test"); current = CurrentMessage()) {
      all += current.hdr.subject.str() + "=";
      current.text.join_to(all);
    }
    jam_close();
    return all;
  }

  std::string bytes() const {
    std::string all;
    for (const char* extension : jam_extensions) all += read_file(area.path.str() + extension).value_or("-");
    return all;
  }

  Area area;
};

// The example of docs/formats/jam.md.
TEST_F(JamTest, WritesTheDocumentedBytes) {
  Msg msg;
  msg.from = address("2:999/10");
  msg.to = address("2:999/100");
  msg.fromname = "Ann";
  msg.toname = "Bob";
  msg.subject = "Hello";
  msg.attr = 0x0101;
  LineList text;
  text.split("\x01MSGID: 2:999/10 12345678\rHi Bob\r");
  JAMHDR hdr = {.Signature = jam_signature, .Revision = jam_revision, .DateProcessed = 0};
  JAMIDX idx;
  JamParts parts;
  msg_to_jam(msg, hdr);
  text_to_jam(msg, text, {}, hdr, idx, parts);
  std::ifstream doc(DOCS "/formats/jam.md");
  std::string wanted;
  for (std::string line; std::getline(doc, line);) {
    if (line.starts_with("    sf  ")) wanted += line.substr(8, 48);
  }
  std::string got;
  for (unsigned char byte : parts.subfields) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02x", byte);
    got += hex;
  }
  std::erase(wanted, ' ');
  EXPECT_EQ(got, wanted);
  EXPECT_EQ(hdr.Attribute, 0x00000005U);
  EXPECT_EQ(idx.UserCRC, 0x0A344EBFU);
  EXPECT_EQ(hdr.MsgIdCRC, 0x774DF548U);
  EXPECT_EQ(parts.body, "Hi Bob\r");
}

TEST_F(JamTest, PackDropsWhatIsDeletedAndNumbersAnew) {
  fill(9, 300);
  kill_every(3);
  std::string before = contents(area.path.str());
  size_t size = bytes().size();
  EXPECT_EQ(jam_pack(area), 1);
  EXPECT_EQ(contents(area.path.str()), before);
  EXPECT_LT(bytes().size(), size);
  ASSERT_TRUE(select(area.path.str()));
  for (uint32_t i = 1; jam_read("test"); i++) EXPECT_EQ(CurMsg.jam.hdr.MsgNum, i);
  EXPECT_EQ(CurMsg.jam.info.ActiveMsgs, 6U);
  EXPECT_EQ(CurMsg.jam.info.ModCounter, 0U);
  EXPECT_FALSE(std::filesystem::exists(dir + "echo.pack.jhr"));
}

TEST_F(JamTest, PackOfSharedTextsCopiesThem) {
  fill(2, 300);
  ASSERT_TRUE(select(area.path.str()));
  ASSERT_TRUE(jam_read("test"));
  JAMHDR first = CurMsg.jam.hdr;
  ASSERT_TRUE(jam_read("test"));
  JAMHDR second = CurMsg.jam.hdr;
  second.TxtOffset = first.TxtOffset;
  write_at(CurMsg.jam.jhr.fd, jam_encode(second), CurMsg.jam.idx.HdrOffset);
  std::string before = contents(area.path.str());
  EXPECT_EQ(jam_pack(area), 1);
  EXPECT_EQ(contents(area.path.str()), before);
  EXPECT_EQ(std::filesystem::file_size(dir + "echo.jdt"), 602U);
}

TEST_F(JamTest, PackThatCannotMakeItsImageLeavesTheBase) {
  fill(20, 1000);
  kill_every(10);
  std::string before = bytes();
  pid_t child = fork();
  if (child == 0) {
    rlimit limit = {.rlim_cur = 8192, .rlim_max = 8192};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limit);
    _exit(jam_pack(area));
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0) << "the pack says that it failed";
  EXPECT_EQ(bytes(), before);
  EXPECT_FALSE(std::filesystem::exists(dir + "echo.pack.jhr"));
  EXPECT_FALSE(std::filesystem::exists(dir + "echo.pack.jdt"));
  touch("echo.pack.jdx");  // an image that stands is nobody's to overwrite
  EXPECT_EQ(jam_pack(area), 0);
  EXPECT_EQ(bytes(), before);
  EXPECT_TRUE(std::filesystem::exists(dir + "echo.pack.jdx"));
}

// Whenever the process dies, the base or the image beside it holds all of the mail, and the check knows
// which.
TEST_F(JamTest, PackThatIsKilledLeavesAWholeCopy) {
  fill(60, 20000);
  kill_every(2);
  std::string mail = contents(area.path.str());
  std::filesystem::create_directory(dir + "old");
  for (const char* extension : jam_extensions)
    std::filesystem::copy(dir + "echo" + extension, dir + "old/echo" + extension);
  double delay = 50;  // microseconds; the last round waits some 100 milliseconds
  bool done = false;
  for (int round = 0; round < 60 && !done; round++, delay *= 1.14) {
    for (const char* extension : jam_extensions) {
      std::filesystem::remove(dir + "echo.pack" + extension);
      std::filesystem::copy(dir + "old/echo" + extension, dir + "echo" + extension,
                            std::filesystem::copy_options::overwrite_existing);
    }
    pid_t child = fork();
    if (child == 0) _exit(jam_pack(area));
    usleep(static_cast<useconds_t>(delay));
    ::kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    done = WIFEXITED(status);
    std::string base = contents(area.path.str());
    bool image = std::filesystem::exists(dir + "echo.pack.jdx");
    if (base == "damaged") {
      ASSERT_TRUE(image && contents(dir + "echo.pack") == mail) << delay;
    } else {
      ASSERT_EQ(base, mail) << delay;
    }
  }
}

}  // namespace
}  // namespace quelmo
