#include "core/crc32.h"

#include <array>
#include <string>
#include <vector>

#include "core/log.h"
#include "core/stop.h"
#include "platform/files.h"

namespace quelmo {
namespace {

// Eight tables, so that eight bytes are taken in one step: table k holds what a byte does to the value when k
// more bytes follow it.
using Tables = std::array<std::array<uint32_t, 256>, 8>;

constexpr Tables make_tables() {
  constexpr uint32_t polynomial = 0xEDB88320;
  Tables tables = {};
  for (uint32_t i = 0; i < 256; i++) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; bit++) value = (value & 1) != 0 ? value >> 1 ^ polynomial : value >> 1;
    tables[0][i] = value;
  }
  for (size_t k = 1; k < 8; k++) {
    for (size_t i = 0; i < 256; i++) {
      uint32_t before = tables[k - 1][i];
      tables[k][i] = before >> 8 ^ tables[0][before & 0xFF];
    }
  }
  return tables;
}
constexpr Tables tables = make_tables();
static_assert(tables[0][1] == 0x77073096 && tables[0][255] == 0x2D02EF8D);

constexpr uint32_t byte_at(std::string_view bytes, size_t i) {
  return static_cast<uint8_t>(bytes[i]);
}

}  // namespace

uint32_t crc32_update(uint32_t crc, std::string_view bytes) {
  while (bytes.size() >= 8) {
    uint32_t low = crc ^ (byte_at(bytes, 0) | byte_at(bytes, 1) << 8 | byte_at(bytes, 2) << 16 |
                          byte_at(bytes, 3) << 24);
    crc = tables[7][low & 0xFF] ^ tables[6][low >> 8 & 0xFF] ^ tables[5][low >> 16 & 0xFF] ^
          tables[4][low >> 24] ^ tables[3][byte_at(bytes, 4)] ^ tables[2][byte_at(bytes, 5)] ^
          tables[1][byte_at(bytes, 6)] ^ tables[0][byte_at(bytes, 7)];
    bytes.remove_prefix(8);
  }
  for (size_t i = 0; i < bytes.size(); i++) crc = crc >> 8 ^ tables[0][(crc ^ byte_at(bytes, i)) & 0xFF];
  return crc;
}

uint32_t crc32_file(std::string_view path) {
  constexpr size_t piece = 1 << 16;
  std::string shown(path);
  Fd file = open_file(path, Open::read);
  std::vector<char> buffer(piece);
  uint32_t crc = crc32_start;
  ssize_t size = file ? read_some(file, buffer.data(), piece) : -1;
  while (size > 0) {
    crc = crc32_update(crc, {buffer.data(), static_cast<size_t>(size)});
    size = read_some(file, buffer.data(), piece);
  }
  if (size == 0) return ~crc;
  report_errno(shown);
  log_line(0, "crc32 error: can`t open file `%s'\n", shown.c_str());
  return 0;
}

}  // namespace quelmo
