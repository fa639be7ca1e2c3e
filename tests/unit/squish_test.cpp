// Squish bases: the hash, the pack, and what a pack that is killed leaves. Adds, updates and kills are seen
// from outside in tests/e2e/squish.t.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bases/look.h"
#include "bases/pack_image.h"
#include "bases/squish.h"
#include "bases/squish_check.h"
#include "bases/squish_frames.h"
#include "bases/squish_pack.h"
#include "platform/lock.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

class Squish : public RunTest {
 protected:
  void SetUp() override {
    RunTest::SetUp();
    config.chat = false;
    area.type = area_squish;
    area.tag = "SQ";
    area.path = dir + "sq";
    create_new_sqbase(area.path.str());
  }
  void add(int count, size_t size) {
    for (int i = 0; i < count; i++) {
      Msg msg;
      msg.subject = "message " + std::to_string(++added);
      LineList lines;
      lines.split("\x01MSGID: 2:1/2 1\r" + std::string(size, 'x') + "\r");
      EXPECT_NE(squish_add(area, msg, lines), 0u);
    }
  }
  // Kills every message whose number in the area is a multiple of `step`.
  void kill_every(uint32_t step) {
    CurMsg.type = area_squish;
    CurMsg.tag = area.tag;
    CurMsg.path = area.path;
    EXPECT_TRUE(squish_select(area));
    while (squish_read("test")) {
      if (CurMsg.msgno % step != 0) continue;
      EXPECT_TRUE(squish_kill());
    }
    squish_close();
  }
  static bool whole(const std::string& base) {
    Look look = {.check = true, .silent = true};
    uint32_t told_of_image = leftover_image(base, squish_extensions).empty() ? 0 : 1;
    return squish_look(base, look) && look.faults == told_of_image;
  }
  std::string subjects(const std::string& base) {
    testing::internal::CaptureStdout();
    Look look;
    squish_look(base, look);
    return testing::internal::GetCapturedStdout();
  }
  std::string bytes(const char* extension) { return read_file(area.path.str() + extension).value_or("none"); }
  void put(const char* extension, const std::string& content) {
    Fd file = open_file(area.path.str() + extension, Open::overwrite);
    EXPECT_TRUE(write_all(file, content));
  }

  Area area;
  int added = 0;
};

TEST(SquishHash, OfNames) {
  // Values that other programs have stored.
  EXPECT_EQ(squish_hash("Sysop"), 0x007B0A60u);
  EXPECT_EQ(squish_hash("aLL"), 0x0000682Cu);
  EXPECT_EQ(squish_hash("Requester"), 0x48BCFAC2u);
  EXPECT_EQ(squish_hash("\x91\xEB\xE1\xAE\xAF"), 0x00A09C8Fu);
  EXPECT_EQ(squish_hash(std::string(35, 'T')), 0x3BFBBBB4u);
  EXPECT_EQ(squish_hash(""), 0u);
}

TEST_F(Squish, PackKeepsTheMessagesAndDropsTheRest) {
  add(20, 500);
  kill_every(3);
  add(2, 40);  // into holes: slack
  std::string before = subjects(area.path.str());
  size_t size = bytes(".sqd").size();
  EXPECT_EQ(sqpack(area), 1);
  EXPECT_EQ(subjects(area.path.str()), before);
  EXPECT_TRUE(whole(area.path.str()));
  EXPECT_LT(bytes(".sqd").size(), size - 5 * 500);
  EXPECT_FALSE(file_exists(image_path(area.path) + ".sqd"));
  std::string packed = bytes(".sqd");
  EXPECT_EQ(sqpack(area), 1);
  EXPECT_EQ(bytes(".sqd"), packed) << "a packed base has no waste";
}

TEST_F(Squish, PackOfNothing) {
  std::string fresh = bytes(".sqd");
  EXPECT_EQ(sqpack(area), 1);
  EXPECT_EQ(bytes(".sqd"), fresh);
  add(3, 10);
  kill_every(1);
  put(".sqi", std::string(12, '\0'));  // a blank record, as other programs leave it
  EXPECT_EQ(sqpack(area), 1);
  EXPECT_EQ(bytes(".sqd").size(), fresh.size());
  EXPECT_EQ(bytes(".sqi"), "");
}

TEST_F(Squish, PackOfADamagedBaseLeavesIt) {
  add(3, 100);
  const std::string sqd = bytes(".sqd");
  const std::string sqi = bytes(".sqi");
  struct Case {
    size_t at;
    std::string put;
    int error;
  };
  const Case cases[] = {{0, "x", 5},          {4, "\x04", 16},  {256, "x", 7},
                        {280, "\x01", 8},     {280, "\x03", 8}, {272, "\xFF\xFF\xFF\x7F", 18},
                        {272, "\xFF\x01", 19}};
  for (const Case& c : cases) {
    std::string damaged = sqd;
    damaged.replace(c.at, c.put.size(), c.put);
    put(".sqd", damaged);
    EXPECT_EQ(sqpack(area), 0) << c.at;
    EXPECT_EQ(current.sq_errno, c.error) << c.at;
    EXPECT_EQ(bytes(".sqd"), damaged);
    EXPECT_EQ(bytes(".sqi"), sqi);
    EXPECT_FALSE(file_exists(image_path(area.path) + ".sqd"));
  }
}

TEST_F(Squish, PackIsRefusedBesideALeftoverImageAndUnderALock) {
  add(3, 100);
  std::string sqd = bytes(".sqd");
  Fd other = open_file(area.path.str() + ".sqd", Open::update);
  ASSERT_EQ(lock_region(other, 0, 1), 0);
  EXPECT_EQ(sqpack(area), 0);
  EXPECT_EQ(current.sq_errno, sq_locked);
  other.reset();
  touch("sq.pack.sqd");
  EXPECT_EQ(sqpack(area), 0);
  EXPECT_EQ(bytes(".sqd"), sqd);
  EXPECT_EQ(read_file(image_path(area.path) + ".sqd").value_or(""), "x");
}

// However early or late a pack is killed, the base or the image beside it is whole, with every message.
TEST_F(Squish, AKilledPackLeavesAWholeCopy) {
  add(300, 4000);
  kill_every(3);
  const std::string sqd = bytes(".sqd");
  const std::string sqi = bytes(".sqi");
  const std::string before = subjects(area.path.str());
  const std::string image = image_path(area.path);
  for (int step = 0; step < 40; step++) {
    put(".sqd", sqd);
    put(".sqi", sqi);
    remove_file(image + ".sqd");
    remove_file(image + ".sqi");
    pid_t child = ::fork();
    if (child == 0) {
      // The first half of the steps ends by a file that may not grow, the others at some time.
      rlimit limit = {static_cast<rlim_t>(step) * 40000, RLIM_INFINITY};
      ::signal(SIGXFSZ, SIG_DFL);
      if (step < 20) ::setrlimit(RLIMIT_FSIZE, &limit);
      ::_exit(sqpack(area));
    }
    if (step >= 20) {
      ::usleep(static_cast<useconds_t>((step - 20) * 500));
      ::kill(child, SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    std::string survivor = whole(area.path.str()) ? area.path.str() : image;
    EXPECT_TRUE(whole(survivor)) << step;
    EXPECT_TRUE(subjects(survivor) == before) << step;
  }
}

}  // namespace
}  // namespace quelmo
