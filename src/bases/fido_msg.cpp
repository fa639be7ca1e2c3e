#include "bases/fido_msg.h"

#include "bases/dates.h"
#include "core/byte_order.h"
#include "core/log.h"
#include "core/stop.h"
#include "platform/bytes_case.h"
#include "platform/files.h"

namespace quelmo {
namespace {

std::time_t normalise_date(FixedText<20>& date) {
  std::time_t t = text_to_unix(date);
  if (t == 0) {
    log_line(1, "read_fido_msg error: invalid date `%s'\n", date.c_str());
    t = std::time(nullptr);
  }
  date = unix_to_fts(t);
  return t;
}

}  // namespace

bool is_msg_name(std::string_view name) {
  constexpr std::string_view extension = ".msg";
  size_t digits = name.find_first_not_of("0123456789");
  return digits != std::string_view::npos && equal_nocase(name.substr(digits), extension);
}

bool parse_fido_msg(std::string_view bytes, FidoHeader& header, LineList& text, std::time_t& time) {
  if (bytes.size() < fido_header_size) return false;
  ByteReader reader(bytes);
  fields(reader, header);
  time = normalise_date(header.dateTime);
  std::string_view body = bytes.substr(fido_header_size);
  text.split(body.substr(0, body.find('\0')));
  return true;
}

bool write_fido_msg(std::string_view path, const FidoHeader& header, const LineList& text) {
  std::string shown(path);
  Fd fd = open_file(path, Open::create_new, 0600);
  if (!fd) {
    report_errno(shown);
    log_line(0, "write_fido_msg: can`t create file: `%s'\n", shown.c_str());
    return false;
  }
  ByteWriter writer;
  fields(writer, header);
  std::string bytes = writer.bytes();
  text.join_to(bytes);
  bytes += '\0';
  if (write_all(fd, bytes) && fd.close()) return true;
  log_line(0, "write_fido_msg: error writing file: `%s'\n", shown.c_str());
  fd.reset();
  remove_file(path);
  return false;
}

void fido_to_msg(const FidoHeader& header, std::time_t time, Msg& msg) {
  msg.to.zone = 0;
  msg.to.net = header.destNet;
  msg.to.node = header.destNode;
  msg.from.zone = 0;
  msg.from.net = header.origNet;
  msg.from.node = header.origNode;
  msg.fromname = header.fromUserName;
  msg.toname = header.toUserName;
  msg.subject = header.subject;
  msg.date = header.dateTime;
  msg.attr = header.attribute;
  msg.time = time;
}

void msg_to_fido(const Msg& msg, FidoHeader& header) {
  header.destNet = msg.to.net;
  header.destNode = msg.to.node;
  header.origNet = msg.from.net;
  header.origNode = msg.from.node;
  header.fromUserName = msg.fromname;
  header.toUserName = msg.toname;
  header.subject = msg.subject;
  header.dateTime = msg.date;
  header.attribute = msg.attr;
}

}  // namespace quelmo
