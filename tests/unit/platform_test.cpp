// What the platform layer makes of DOS-shaped paths, and its promises on files, locks and programs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/clock.h"
#include "platform/directory.h"
#include "platform/files.h"
#include "platform/lock.h"
#include "platform/path.h"
#include "platform/process.h"
#include "platform/program.h"

namespace quelmo {
namespace {

namespace fs = std::filesystem;

class Platform : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/quelmo-test-XXXXXX";
    dir = std::string(::mkdtemp(name)) + "/";
    ::setenv("QUELMO_DRIVE_Q", dir.c_str(), 1);
  }
  void TearDown() override {
    ::unsetenv("QUELMO_DRIVE_Q");
    fs::remove_all(dir);
  }
  void put(const std::string& name, const std::string& bytes) const { std::ofstream(dir + name) << bytes; }
  std::string get(const std::string& name) const { return read_file(dir + name).value_or("(none)"); }

  std::string dir;
};

TEST(Path, TextsAreTakenApartByEitherSeparatorAndTheDrive) {
  struct {
    const char* path;
    bool absolute;
    const char* directory;
    const char* file;
    char own;
    const char* closed;
  } cases[] = {
      {"", false, "", "", '/', ""},
      {"a", false, "", "a", '/', "a/"},
      {"a\\b", false, "a\\", "b", '\\', "a\\b\\"},
      {"a\\b/c", false, "a\\b/", "c", '/', "a\\b/c/"},
      {"/var/x/", true, "/var/x/", "", '/', "/var/x/"},
      {"\\", true, "\\", "", '\\', "\\"},
      {"c:", true, "c:", "", '\\', "c:\\"},
      {"c:x", true, "c:", "x", '\\', "c:x\\"},
      {"C:/ftn/out", true, "C:/ftn/", "out", '/', "C:/ftn/out/"},
      {":x", false, "", ":x", '/', ":x/"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(is_absolute(c.path), c.absolute) << c.path;
    EXPECT_EQ(dir_part(c.path), c.directory) << c.path;
    EXPECT_EQ(file_part(c.path), c.file) << c.path;
    EXPECT_EQ(own_separator(c.path), c.own) << c.path;
    EXPECT_EQ(close_dir(c.path), c.closed) << c.path;
  }
}

TEST_F(Platform, HostPaths) {
  set_start_directory();
  std::string start = fs::current_path().string() + "/";
  EXPECT_EQ(host_path("a\\b/c"), start + "a/b/c");
  EXPECT_EQ(host_path(""), start);
  EXPECT_EQ(host_path("\\var\\x"), "/var/x");
  EXPECT_EQ(host_path("q:\\sub\\file"), dir + "sub/file");
  EXPECT_EQ(host_path("Q:file"), dir + "file") << "a drive has no directory of its own";
  EXPECT_EQ(host_path("Z:\\etc"), "/etc") << "a drive without a variable";
  EXPECT_EQ(host_path(std::string("a\0b", 3)), start + "a");
  fs::path before = fs::current_path();
  fs::current_path("/");
  EXPECT_EQ(host_path("a"), start + "a") << "the start directory stays";
  fs::current_path(before);
}

TEST_F(Platform, NamesAreFoundInAnyCaseExactSpellingFirst) {
  fs::create_directory(dir + "Netmail");
  put("Netmail/1.MSG", "upper");
  put("File.txt", "mixed");
  put("FILE.TXT", "upper");
  put("file.txt", "lower");
  EXPECT_EQ(get("netmail\\1.msg"), "upper");
  EXPECT_EQ(get("FILE.txt"), "upper") << "of several the first in byte order";
  EXPECT_EQ(get("file.txt"), "lower");
  EXPECT_EQ(get("netmail/2.msg"), "(none)");
  EXPECT_EQ(get("File.txt/x"), "(none)");
  EXPECT_EQ(disk_path(dir + "NETMAIL/new.msg"), dir + "Netmail/new.msg");
  EXPECT_TRUE(file_exists("Q:\\NETMAIL\\1.Msg"));
  EXPECT_TRUE(is_enterable_dir(dir + "netmail\\"));
  EXPECT_FALSE(is_enterable_dir(dir + "file.txt"));
}

TEST_F(Platform, CreatingANameThatExistsInAnotherCaseFails) {
  put("10.MSG", "x");
  put("Mixed.Msg", "x");
  errno = 0;
  EXPECT_FALSE(open_file(dir + "10.msg", Open::create_new));
  EXPECT_EQ(errno, EEXIST);
  Fd fresh = open_file(dir + "11.msg", Open::create_new, 0600);
  ASSERT_TRUE(fresh);
  EXPECT_GT(fresh.get(), STDERR_FILENO);
  EXPECT_NE(::fcntl(fresh.get(), F_GETFD) & FD_CLOEXEC, 0);
  struct stat st;
  ASSERT_EQ(::fstat(fresh.get(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(Platform, RenameNeverReplacesAndReplaceKeepsTheMode) {
  put("a", "from");
  put("B.LO", "stands");
  EXPECT_FALSE(rename_file(dir + "a", dir + "b.lo"));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(get("a") + get("B.LO"), "fromstands");
  EXPECT_TRUE(rename_file(dir + "A", dir + "c"));
  EXPECT_EQ(get("c"), "from");
  ASSERT_EQ(::chmod((dir + "B.LO").c_str(), 0640), 0);
  EXPECT_TRUE(replace_file(dir + "c", dir + "b.lo", true));
  EXPECT_EQ(get("B.LO"), "from");
  EXPECT_EQ(fs::status(dir + "B.LO").permissions(), fs::perms(0640));
  EXPECT_FALSE(file_exists(dir + "c"));
  EXPECT_FALSE(rename_file(dir + "nosuch", dir + "d"));
}

TEST_F(Platform, SearchesDeliverInUpperCasedOrder) {
  for (const char* name : {"b.txt", "A.TXT", "c.TXT", "B1.txt", "a.txt", "_.txt", "other"}) put(name, "xy");
  fs::create_directory(dir + "d.txt");
  fs::create_symlink(dir + "b.txt", dir + "link.txt");
  fs::create_symlink(dir + "nowhere", dir + "dead.txt");
  auto names = [&](const std::string& spec, Find what) {
    std::string all;
    for (const FoundFile& file : find_files(spec, what)) all += file.name + " ";
    return all;
  };
  EXPECT_EQ(names(dir + "*.Txt", Find::files), "A.TXT a.txt b.txt B1.txt c.TXT link.txt _.txt ");
  EXPECT_EQ(names("q:\\*.txt", Find::directories), "d.txt ");
  EXPECT_EQ(names(dir + "?.txt", Find::all), "A.TXT a.txt b.txt c.TXT d.txt _.txt ");
  EXPECT_EQ(names(dir + "nosuch/*", Find::all), "");
  EXPECT_EQ(find_files(dir + "link.txt").at(0).size, 2u);
}

TEST(Directory, Patterns) {
  struct {
    const char* name;
    const char* pattern;
    bool fits;
  } cases[] = {
      {"", "", true},         {"", "*", true},       {"", "?", false},
      {"abc", "a*c", true},   {"abc", "a*b", false}, {"abc", "*b*", true},
      {"abc", "???", true},   {"abc", "??", false},  {"abc", "A*", false},
      {"aXbXc", "*X?", true}, {"aab", "*ab", true},  {"aaaaaaaaaaaaaaaaaaaaaaab", "*a*a*a*a*a*c", false},
      {"a.b", "*", true},     {"a", "*.*", false},
  };
  for (const auto& c : cases) EXPECT_EQ(wild_match(c.name, c.pattern), c.fits) << c.name << " " << c.pattern;
}

// Whether a process of its own gets a plain fcntl lock on the byte.
bool other_process_locks(const std::string& file, off_t offset) {
  pid_t child = ::fork();
  if (child == 0) {
    int fd = ::open(file.c_str(), O_RDWR);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = offset;
    lock.l_len = 1;
    ::_exit(fd >= 0 && ::fcntl(fd, F_SETLK, &lock) == 0 ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return status == 0;
}

TEST_F(Platform, LocksExcludePlainFcntlLocksAndSurviveAnotherDescriptor) {
  put("base", "0123456789");
  std::string file = dir + "base";
  Fd fd = open_file(file, Open::update);
  ASSERT_EQ(lock_region(fd, 0, 1), 0);
  EXPECT_FALSE(other_process_locks(file, 0));
  EXPECT_TRUE(other_process_locks(file, 1));
  open_file(file, Open::update).reset();
  EXPECT_FALSE(other_process_locks(file, 0)) << "a second descriptor was closed";
  Fd second = open_file(file, Open::update);
  EXPECT_EQ(lock_region(second, 0, 1), -1);
  EXPECT_EQ(unlock_region(fd, 0, 1), 0);
  EXPECT_EQ(lock_region(second, 0, 1), 0);
  second.reset();
  EXPECT_TRUE(other_process_locks(file, 0));
}

TEST_F(Platform, ALockOfAnotherProcessIsSeen) {
  put("base", "0123456789");
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  pid_t child = ::fork();
  if (child == 0) {
    int fd = ::open((dir + "base").c_str(), O_RDWR);
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_len = 1;
    char told = ::fcntl(fd, F_SETLK, &lock) == 0 ? '1' : '0';
    if (::write(ready[1], &told, 1) == 1) ::pause();
    ::_exit(0);
  }
  char told = 0;
  ASSERT_EQ(::read(ready[0], &told, 1), 1);
  EXPECT_EQ(told, '1');
  Fd fd = open_file(dir + "base", Open::update);
  EXPECT_EQ(lock_region(fd, 0, 1), -1);
  EXPECT_EQ(lock_region(fd, 1, 1), 0);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(lock_region(fd, 0, 1), 0);
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST(Program, CommandsAreSplitAtBlanksOutsideOfQuotes) {
  using Words = std::vector<std::string>;
  EXPECT_EQ(split_command(" a  b\tc "), (Words{"a", "b", "c"}));
  EXPECT_EQ(split_command("\"a b\" c\"d e\"f \"\""), (Words{"a b", "cd ef", ""}));
  EXPECT_EQ(split_command("'a b' $X; `x` \\ \"open"), (Words{"'a", "b'", "$X;", "`x`", "\\", "open"}));
  EXPECT_EQ(split_command(""), Words{});
}

TEST_F(Platform, ProgramsRunWithoutAShell) {
  put("Pack.exe", "#!/bin/sh\nfor a in \"$@\"; do echo \"<$a>\"; done > out; pwd >> out\n");
  put("code", "#!/bin/sh\nexit 7\n");
  put("killed", "#!/bin/sh\nkill -TERM $$\n");
  put("plain", "no program");
  for (const char* name : {"Pack.exe", "code", "killed"}) fs::permissions(dir + name, fs::perms(0700));
  fs::create_directory(dir + "work");
  EXPECT_EQ(find_program(dir + "PACK"), dir + "Pack.exe");
  EXPECT_EQ(find_program("sh"), "") << "PATH isn't searched";
  EXPECT_EQ(find_program(dir + "work"), "") << "a directory";
  EXPECT_EQ(find_program(dir + "code.com"), "");
  EXPECT_EQ(run_program("q:\\pack", {"a b", "", "$HOME", "*"}, dir + "work"), 0);
  EXPECT_EQ(get("work/out"), "<a b>\n<>\n<$HOME>\n<*>\n" + dir + "work\n");
  EXPECT_EQ(run_program(dir + "code", {}), 7);
  EXPECT_EQ(run_program(dir + "killed", {}), 128 + SIGTERM);
  EXPECT_EQ(run_program(dir + "nosuch", {}), -1);
  EXPECT_EQ(run_program(dir + "plain", {}), 127);
}

TEST_F(Platform, ReadsWritesAndCuts) {
  Fd fd = open_file(dir + "f", Open::create);
  EXPECT_TRUE(write_all(fd, "0123456789"));
  EXPECT_TRUE(write_at(fd, "ab", 4));
  char bytes[16];
  EXPECT_EQ(read_at(fd, bytes, sizeof bytes, 8), 2);
  EXPECT_EQ(read_at(fd, bytes, sizeof bytes, 100), 0);
  EXPECT_TRUE(truncate_at(fd, 7));
  EXPECT_EQ(file_length(fd), 7);
  EXPECT_EQ(get("f"), "0123ab6");
  EXPECT_EQ(read_file(dir + "f", 6), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(read_file(dir), std::nullopt) << "a directory";
  EXPECT_FALSE(open_file(dir + "nosuch", Open::update));
}

TEST(Clock, StampsGrow) {
  uint32_t last = unique_stamp();
  for (int i = 0; i < 20; i++) {
    uint32_t next = unique_stamp();
    EXPECT_GT(next, last);
    last = next;
  }
  EXPECT_NEAR(static_cast<double>(last >> 7),
              static_cast<double>(static_cast<uint32_t>(std::time(nullptr)) & 0x1FFFFFF), 2);
}

TEST_F(Platform, TheProcessComesBackAsItWas) {
  fs::path before = fs::current_path();
  mode_t mask = ::umask(0);
  ::umask(mask);
  ::setenv("QUELMO_TEST_KEPT", "old", 1);
  {
    ProcessState state;
    fs::current_path(dir);
    ::umask(077);
    ::setenv("QUELMO_TEST_KEPT", "new", 1);
    ::setenv("QUELMO_TEST_ADDED", "1", 1);
    ::signal(SIGUSR1, SIG_IGN);
    ::alarm(100);
    ::close(STDIN_FILENO);
    state.restore();
  }
  EXPECT_EQ(fs::current_path(), before);
  EXPECT_EQ(::umask(mask), mask);
  EXPECT_STREQ(std::getenv("QUELMO_TEST_KEPT"), "old");
  EXPECT_EQ(std::getenv("QUELMO_TEST_ADDED"), nullptr);
  EXPECT_EQ(::signal(SIGUSR1, SIG_DFL), SIG_DFL);
  EXPECT_EQ(::alarm(0), 0u);
  EXPECT_NE(::fcntl(STDIN_FILENO, F_GETFD), -1);
  ::unsetenv("QUELMO_TEST_KEPT");
}

}  // namespace
}  // namespace quelmo
