#include "bases/jam_text.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "bases/dates.h"
#include "core/address.h"
#include "core/crc32.h"
#include "core/log.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/kludges.h"

namespace quelmo {
namespace {

struct BitPair {
  uint32_t attribute;  // of JAMHDR::Attribute
  uint16_t bit;        // of Msg::attr or Msg::flags
};
constexpr BitPair attr_map[] = {
    {0x00000001, attr_local},    {0x00000002, attr_intransit}, {0x00000004, attr_private},
    {0x00000008, attr_received}, {0x00000010, attr_sent},      {0x00000020, attr_killsent},
    {0x00000080, attr_hold},     {0x00000100, attr_crash},     {0x00001000, attr_request},
    {0x00002000, attr_file},     {0x00010000, attr_rrq},       {0x00040000, attr_orphan},
};
constexpr BitPair flag_map[] = {
    {0x00000200, flags_imm}, {0x00000400, flags_dir}, {0x00000800, 0x0010}, {0x00004000, 0x0040},
    {0x00008000, 0x0020},    {0x00020000, 0x0008},    {0x00400000, 0x0080}, {0x40000000, 0x2000},
};

template <size_t N>
constexpr uint32_t mask_of(const BitPair (&map)[N]) {
  uint32_t mask = 0;
  for (const BitPair& pair : map) mask |= pair.attribute;
  return mask;
}

template <size_t N>
uint16_t from_attribute(const BitPair (&map)[N], uint32_t attribute) {
  unsigned bits = 0;
  for (const BitPair& pair : map) bits |= (attribute & pair.attribute) != 0 ? pair.bit : 0U;
  return static_cast<uint16_t>(bits);
}

template <size_t N>
uint32_t to_attribute(const BitPair (&map)[N], uint16_t bits) {
  uint32_t attribute = 0;
  for (const BitPair& pair : map) attribute |= (bits & pair.bit) != 0 ? pair.attribute : 0U;
  return attribute;
}

// What is known of a subfield: how it becomes a line, and how long its value may be.
enum class Line { none, control, tail, kludge, flags };
struct FieldKind {
  JamField id;
  Line line;
  std::string_view prefix;  // of the line
  size_t read_limit;        // bytes of the value that fit into a line
  size_t write_limit;       // bytes of the value that are stored
};
constexpr size_t no_limit = SIZE_MAX;
constexpr size_t value_limit = 255;
constexpr FieldKind field_kinds[] = {
    {jam_from_address, Line::none, "", 0, 100},
    {jam_to_address, Line::none, "", 0, 100},
    {jam_from_name, Line::none, "", 0, 100},
    {jam_to_name, Line::none, "", 0, 100},
    {jam_msgid, Line::control, "\x01MSGID: ", 247, 100},
    {jam_reply, Line::control, "\x01REPLY: ", 247, 100},
    {jam_subject, Line::none, "", 0, 100},
    {jam_pid, Line::control, "\x01PID: ", 249, 40},
    {jam_file, Line::none, "", 0, 100},
    {jam_kludge, Line::kludge, "\x01", 254, value_limit},
    {jam_seen_by, Line::tail, "SEEN-BY: ", 245, no_limit},
    {jam_path, Line::tail, "\x01PATH: ", 247, no_limit},
    {jam_flags, Line::flags,
     "\x01"
     "FLAGS ",
     value_limit, no_limit},
};

const FieldKind* kind_of(uint16_t id) {
  // The ids form two runs: a subfield's kind is found without a search.
  constexpr size_t second_run = 9;
  size_t i = id >= jam_kludge ? id - jam_kludge + second_run : (id == jam_file ? second_run - 1 : id);
  return i < std::size(field_kinds) && field_kinds[i].id == id ? &field_kinds[i] : nullptr;
}

constexpr bool kinds_in_place() {
  for (size_t i = 0; i < 8; i++) {
    if (field_kinds[i].id != i || (i < 4 && field_kinds[9 + i].id != jam_kludge + i)) return false;
  }
  return std::size(field_kinds) == 13 && field_kinds[8].id == jam_file;
}
static_assert(kinds_in_place());

std::string_view text_value(std::string_view value) {
  value = value.substr(0, value_limit);
  return value.substr(0, value.find('\0'));
}

// A control line as lines: one for each CTRL-A in it.
void append_control(LineList& text, std::string_view prefix, std::string_view value) {
  char line[LineList::element_limit];
  do {
    size_t end = std::min(value.find(soh), value.size());
    size_t size = std::min(prefix.size() + end, sizeof line);
    std::memcpy(line, prefix.data(), prefix.size());
    std::memcpy(line + prefix.size(), value.data(), size - prefix.size());
    bool room = size < sizeof line;
    if (room) line[size++] = '\r';
    text.append({line, size});
    // One that fills its element gets another for the CR: what follows must not be taken for its rest.
    if (!room) text.append("\r");
    value.remove_prefix(end);
    prefix = value.substr(0, 1);
    if (!value.empty()) value.remove_prefix(1);
  } while (!prefix.empty());
}

// The address of a subfield: of the form zone:net/node[.point][@domain], else of net/node. `full` receives
// the former without its point.
void take_address(std::string_view value, FtnAddr& addr, std::string& full) {
  full.clear();
  if (addr_parse(value, addr) == 1) {
    FtnAddr node = addr;
    node.point = 0;
    full = addr_to_text(node);
    return;
  }
  addr = FtnAddr();
  size_t slash = value.find('/');
  if (slash == std::string_view::npos) return;
  addr.net = static_cast<uint16_t>(to_number(value));
  addr.node = static_cast<uint16_t>(to_number(value.substr(slash + 1)));
}

void append_tail(std::string& tail, const FieldKind& kind, std::string_view value, size_t limit) {
  tail.append(kind.prefix).append(value.substr(0, limit)).push_back('\r');
}

// What a read message gathers beside its Msg.
struct Gathered {
  LineList& text;     // the control lines
  std::string& tail;  // the lines behind the text
  std::string from;   // address texts without points, for INTL
  std::string to;
};

void take_point(uint16_t point, std::string_view prefix, bool netmail, LineList& text) {
  if (netmail && point != 0) append_control(text, prefix, std::to_string(point));
}

// A subfield that is a part of the header.
void take_header_field(JamField id, std::string_view value, bool netmail, Msg& msg, Gathered& out) {
  if (id == jam_from_address) {
    take_address(value, msg.from, out.from);
    take_point(msg.from.point,
               "\x01"
               "FMPT ",
               netmail, out.text);
  } else if (id == jam_to_address) {
    take_address(value, msg.to, out.to);
    take_point(msg.to.point, "\x01TOPT ", netmail, out.text);
  } else if (id == jam_from_name) {
    msg.fromname = value;
  } else if (id == jam_to_name) {
    msg.toname = value;
  } else {
    msg.subject = value;
  }
}

void take_subfield(const Subfield& field, uint32_t attribute, Msg& msg, Gathered& out) {
  constexpr size_t via_limit = 251;
  const FieldKind* kind = kind_of(field.id);
  if (kind == nullptr) return;
  std::string_view value = text_value(field.value);
  std::string_view shown = value.substr(0, kind->read_limit);
  switch (kind->line) {
    case Line::none:
      return take_header_field(kind->id, value, (attribute & jam_netmail) != 0, msg, out);
    case Line::control:
      return append_control(out.text, kind->prefix, shown);
    case Line::kludge:
      if (!starts_nocase(value, "Via ")) return append_control(out.text, kind->prefix, shown);
      return append_tail(out.tail, *kind, value, via_limit);
    case Line::tail:
      return append_tail(out.tail, *kind, value, kind->read_limit);
    case Line::flags:
      unsigned words = flags_from_line(value) | from_attribute(flag_map, attribute);
      return append_control(out.text, kind->prefix, flags_to_text(static_cast<uint16_t>(words)));
  }
}

}  // namespace

bool next_subfield(std::string_view& block, Subfield& field) {
  if (block.size() < jam_subfield_size) return false;
  auto head = jam_decode<JamSubfield>(block.substr(0, jam_subfield_size));
  if (head.DatLen > block.size() - jam_subfield_size) return false;
  size_t size = jam_subfield_size + head.DatLen;
  field = {
      .id = head.LoID, .value = block.substr(jam_subfield_size, head.DatLen), .raw = block.substr(0, size)};
  block.remove_prefix(size);
  return true;
}

uint32_t jam_crc(std::string_view text) {
  return crc32_update(crc32_start, lower(text));
}

void jam_to_msg(const JAMHDR& hdr, std::string_view subfields, std::string_view body, std::string& tail,
                Msg& msg, LineList& text) {
  msg.time = static_cast<std::time_t>(hdr.DateWritten) - utc_offset_hours() * 3600L;
  msg.date = unix_to_fts(msg.time);
  msg.attr = from_attribute(attr_map, hdr.Attribute);
  tail.clear();
  Gathered gathered = {.text = text, .tail = tail, .from = {}, .to = {}};
  Subfield field;
  while (next_subfield(subfields, field)) take_subfield(field, hdr.Attribute, msg, gathered);
  if ((hdr.Attribute & jam_netmail) != 0 && !gathered.from.empty() && !gathered.to.empty())
    text.insert(0, "\x01INTL " + gathered.to + " " + gathered.from + "\r");

  body = body.substr(0, body.find('\0'));
  if (tail.empty() || body.empty() || ends_line(body)) {
    text.append_split(body);
  } else {
    text.append_split(std::string(body) + "\r");
  }
  text.append_split(tail);
}

namespace {

void add_subfield(std::string& block, JamField id, std::string_view value) {
  value = value.substr(0, kind_of(id)->write_limit);
  JamSubfield head = {.LoID = id, .DatLen = static_cast<uint32_t>(value.size())};
  block.append(jam_encode(head)).append(value);
}

// How a kludge line is stored, its CTRL-A and its line end being off. A line that isn't stored has no value.
struct StoredKludge {
  bool dropped = false;
  JamField id = jam_kludge;
  std::string_view value;
};

StoredKludge kludge_to_sfield(std::string_view line) {
  struct Row {
    std::string_view word;
    JamField id;
    bool whole;    // only as a whole word: REPLYTO is no REPLY
    bool dropped;  // the addresses carry it
  };
  static constexpr Row rows[] = {
      {"FLAGS", jam_flags, false, false}, {"MSGID", jam_msgid, true, false},
      {"REPLY", jam_reply, true, false},  {"PID", jam_pid, false, false},
      {"PATH", jam_path, false, false},   {"SEEN-BY", jam_seen_by, false, false},
      {"FMPT", jam_kludge, false, true},  {"INTL", jam_kludge, false, true},
      {"TOPT", jam_kludge, false, true},
  };
  for (const Row& row : rows) {
    if (!starts_nocase(line, row.word)) continue;
    std::string_view rest = line.substr(row.word.size());
    bool colon = !rest.empty() && rest[0] == ':';
    bool whole = rest.empty() || colon || is_blank(rest[0]);
    if (row.whole && !whole) continue;
    if (row.dropped) return {.dropped = true, .value = {}};
    // The first word goes, and the blanks behind it; a value that is glued to the colon stays.
    rest.remove_prefix(colon ? 1 : std::min(rest.find_first_of(" \t"), rest.size()));
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
    return {.id = row.id, .value = rest};
  }
  return {.value = line};
}

// Takes the words that stand for attribute bits out of a FLAGS value.
std::string flags_to_attr(std::string_view value, uint32_t& attribute) {
  std::string others;
  std::string_view word;
  while (next_word(value, word)) {
    uint16_t flag = flag_by_name(word);
    uint32_t bit = flag != unknown_bit16 ? to_attribute(flag_map, flag) : 0;
    attribute |= bit;
    if (bit != 0) continue;
    if (!others.empty()) others += ' ';
    others += word;
  }
  return others;
}

void store_kludge(std::string_view line, JAMHDR& hdr, std::string& block, bool& has_flags) {
  if (line.size() == LineList::element_limit && line.back() != '\r') {
    log_line(4, "text_to_jam: long kludge found: `%s'\n", std::string(line).c_str());
  }
  line = strip_line_end(line);
  if (!line.empty() && line[0] == soh) line.remove_prefix(1);
  StoredKludge kludge = kludge_to_sfield(line);
  if (kludge.dropped) return;
  std::string changed;
  if (kludge.id == jam_flags) {
    has_flags = true;
    kludge.value = changed = flags_to_attr(kludge.value, hdr.Attribute);
  } else if (kludge.id == jam_msgid || kludge.id == jam_reply) {
    kludge.value = changed = lower(kludge.value.substr(0, kind_of(kludge.id)->write_limit));
    (kludge.id == jam_msgid ? hdr.MsgIdCRC : hdr.ReplyCRC) = jam_crc(changed);
  }
  add_subfield(block, kludge.id, kludge.value);
}

// The address as it is stored. Of echomail, whose lines don't tell points, an address that hasn't changed
// keeps the point that it has.
std::string stored_address(FtnAddr addr, JamField id, std::string_view old_subfields, bool netmail) {
  Subfield field;
  FtnAddr old;
  while (!netmail && addr.point == 0 && next_subfield(old_subfields, field)) {
    bool found = field.id == id && addr_parse(text_value(field.value), old) == 1;
    if (found && old.zone == addr.zone && addr_match_depth(old, addr) >= 3) addr.point = old.point;
  }
  return addr_with_domain(addr);
}

}  // namespace

void msg_to_jam(const Msg& msg, JAMHDR& hdr) {
  long shift = utc_offset_hours() * 3600L;
  hdr.DateWritten = static_cast<uint32_t>(msg.time + shift);
  hdr.DateProcessed = static_cast<uint32_t>(std::time(nullptr) + shift);
  hdr.Attribute = (hdr.Attribute & ~mask_of(attr_map)) | to_attribute(attr_map, msg.attr);
}

void text_to_jam(const Msg& msg, const LineList& text, std::string_view old_subfields, JAMHDR& hdr,
                 JAMIDX& idx, JamParts& parts) {
  uint32_t old_flags = hdr.Attribute & mask_of(flag_map);
  hdr.Attribute &= ~mask_of(flag_map);
  hdr.MsgIdCRC = crc32_start;
  hdr.ReplyCRC = crc32_start;
  parts.subfields.clear();
  parts.body.clear();
  bool netmail = (hdr.Attribute & jam_netmail) != 0;
  for (auto [id, addr] : {std::pair(jam_from_address, &msg.from), std::pair(jam_to_address, &msg.to)})
    add_subfield(parts.subfields, id, stored_address(*addr, id, old_subfields, netmail));
  add_subfield(parts.subfields, jam_from_name, msg.fromname);
  add_subfield(parts.subfields, jam_to_name, msg.toname);
  idx.UserCRC = jam_crc(msg.toname);
  add_subfield(parts.subfields, jam_subject, msg.subject);

  bool has_flags = false;
  bool open = false;  // a kludge fills its element, and may have its CR in the next
  for (std::string_view line : text) {
    bool kludge = is_kludge(line);
    if (kludge) {
      store_kludge(line, hdr, parts.subfields, has_flags);
    } else if (!open || !strip_line_end(line).empty()) {
      parts.body += line;
    }
    open = kludge && line.size() == LineList::element_limit && !ends_line(line);
  }
  bool had_flags = false;
  Subfield field;
  while (next_subfield(old_subfields, field)) {
    had_flags = had_flags || field.id == jam_flags;
    if (kind_of(field.id) == nullptr) parts.subfields += field.raw;
  }
  if (!has_flags && !had_flags) hdr.Attribute |= old_flags;
  hdr.SubfieldLen = static_cast<uint32_t>(parts.subfields.size());
  hdr.TxtLen = static_cast<uint32_t>(parts.body.size());
}

}  // namespace quelmo
