// plain_read DIRECTORY: the yardstick. Opens, reads and closes each *.msg file of a directory in the order in
// which the directory gives them, and does nothing with the bytes. Prints the number of files and of bytes.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
  DIR* dir = argc == 2 ? opendir(argv[1]) : nullptr;
  if (!dir) {
    std::fputs("usage: plain_read DIRECTORY\n", stderr);
    return 2;
  }
  long files = 0;
  long bytes = 0;
  std::vector<char> buffer(1 << 16);
  while (const dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name.size() < 4 || name.compare(name.size() - 4, 4, ".msg") != 0) continue;
    const int fd = openat(dirfd(dir), name.c_str(), O_RDONLY);
    if (fd < 0) continue;
    const ssize_t got = read(fd, buffer.data(), buffer.size());
    close(fd);
    files += 1;
    bytes += got > 0 ? got : 0;
  }
  closedir(dir);
  std::printf("%ld files, %ld bytes\n", files, bytes);
  return 0;
}
