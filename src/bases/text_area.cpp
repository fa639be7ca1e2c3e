#include "bases/text_area.h"

#include "bases/highwater.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/current.h"
#include "message/kludges.h"
#include "platform/files.h"
#include "platform/path.h"

namespace quelmo {
namespace {

// The area's path: directory with its separator, base name, extension without its dot.
struct PathParts {
  std::string dir;
  std::string_view base;
  std::string_view extension;
};

PathParts parts_of(std::string_view path) {
  std::string_view name = file_part(path);
  size_t dot = name.rfind('.');
  PathParts parts{.dir = std::string(path.substr(0, path.size() - name.size())),
                  .base = name.substr(0, dot),
                  .extension = {}};
  if (dot != std::string_view::npos) parts.extension = name.substr(dot + 1);
  return parts;
}

// A file for an address. Where the name is too long for the disk, a name of eight and three characters.
std::string address_file(const std::string& dir, const FtnAddr& addr) {
  std::string path = dir + format_text("%u_%u.%u", addr.net, addr.node, addr.point);
  if (open_file(path, Open::append)) return path;
  std::string point = std::to_string(addr.point).substr(0, 3);
  return dir + format_text("%u%u.%s", addr.net, addr.node, point.c_str());
}

std::string plain_text(const LineList& text) {
  std::string bytes;
  for (std::string_view element : text) {
    if (is_kludge(element)) continue;
    bytes += element;
    if (element.ends_with('\r')) bytes += '\n';
  }
  return bytes;
}

// A message that doesn't go to the disk whole leaves nothing in the file.
bool append_text(const std::string& path, std::string_view bytes) {
  Fd file = open_file(path, Open::append);
  if (!file) return false;
  int64_t length = file_length(file);
  if (write_all(file, bytes)) return file.close();
  int error = errno;
  if (length >= 0) truncate_at(file, static_cast<uint64_t>(length));
  errno = error;
  return false;
}

}  // namespace

bool text_select(const Area&) {
  return true;
}

bool text_read(const char*) {
  return false;
}

bool text_kill() {
  return false;
}

std::string text_area_file(const Area& area, const Msg& msg) {
  PathParts parts = parts_of(area.path);
  if (parts.base == ">") return address_file(parts.dir, msg.to);
  if (parts.base == "<") return address_file(parts.dir, msg.from);
  if (parts.base != "#") return area.path.str();
  uint32_t number = get_highwater(area.tag, parts.dir, parts.extension);
  return parts.dir + std::to_string(number) + "." + std::string(parts.extension);
}

uint32_t add_text_msg(const Area& area, const Msg& msg, const LineList& text) {
  std::string path = text_area_file(area, msg);
  if (!append_text(path, plain_text(text))) {
    report_errno(path);
    log_line(0, "add_msg: error opening textarea file : `%s'\n", path.c_str());
    log_line(0, "add_msg error: failed to add mail to pkt area\n");
    return 0;
  }
  log_line(1, "   written to file: `%s'  in Area : %s\n", path.c_str(), area.tag.c_str());
  current.lastname = path;
  return 1;
}

}  // namespace quelmo
