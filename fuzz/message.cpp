// A message file: header and text taken apart, addresses and Via lines worked out, kludges rewritten.
#include <algorithm>

#include "actions/kludge_edit.h"
#include "bases/fido_msg.h"
#include "core/run_state.h"
#include "message/attributes.h"
#include "message/parse.h"
#include "message/text_edit.h"
#include "target.h"

namespace {

using namespace quelmo;

std::string joined(const LineList& list) {
  std::string text;
  list.join_to(text);
  return text;
}

void check_elements(const LineList& list) {
  for (std::string_view element : list)
    fuzz::check(element.size() <= LineList::element_limit, "elements keep their limit");
}

void edit(Msg& msg, LineList text) {
  LineList lines;
  text_to_lines(lines, std::string(300, 'x'));
  for (int pos : {at_end, 0, 1, 2, 1000}) {
    add_text(text, lines, pos, Count::body);
    add_text(text, lines, pos, Count::all);
  }
  for (uint16_t point : {uint16_t{0}, uint16_t{7}}) {
    msg.from.point = point;
    msg.to.point = point;
    change_netmail_kludges(msg, text);
    set_flags_kludge(text, point ? "DIR" : "");
  }
  for (int n : {0, 1, 3, 1000}) delete_line(text, n, n == 3 ? Count::all : Count::body);
  invalidate_tear_origin(text);
  strip_netmail_kludges(text);
  invalidate_vias(text);
  invalidate_kludges(text, true);
  check_elements(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  config.main_address = {.zone = 2, .net = 999, .node = 100};
  const std::string_view bytes = fuzz::as_text(data, size);
  FidoHeader header;
  LineList text;
  std::time_t time = 0;
  const bool parsed = parse_fido_msg(bytes, header, text, time);
  fuzz::check(parsed == (size >= fido_header_size), "a message has a whole header");
  if (!parsed) return 0;

  const std::string_view body = bytes.substr(fido_header_size);
  fuzz::check(joined(text) == body.substr(0, body.find('\0')), "the elements are the text up to its NUL");
  Msg msg;
  fido_to_msg(header, time, msg);
  LineList vias;
  parse_msg(msg, text, vias, "");
  check_elements(text);
  fuzz::check(joined(text).starts_with(body.substr(0, body.find('\0'))), "parsing only adds at the end");
  fuzz::check(msg.from.zone != 0 || msg.has(int_intl), "zones are worked out");
  edit(msg, text);
  return 0;
}
