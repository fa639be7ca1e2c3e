#include "actions/msg_args.h"

#include "actions/header.h"
#include "actions/kludge_edit.h"
#include "actions/templates.h"
#include "bases/dates.h"
#include "bases/pkt_header.h"
#include "core/log.h"
#include "core/stop.h"
#include "core/text.h"
#include "message/aka.h"
#include "message/attributes.h"
#include "message/macros.h"
#include "message/text_edit.h"
#include "nodelist/routing.h"
#include "select/data_blocks.h"

namespace quelmo {
namespace {

// The option being read, and what holds for the rest of the call.
struct OptionReader {
  NewMsgArgs& args;
  const char* label;
  bool direct = false;  // the value began with "@"
  int tpl_pos = 1;
  int lines_pos = 1;
};

using Value = std::string_view;

// The block form of -t and -f; false if no block of any fitting kind has the tag.
bool party_from_block(OptionReader& reader, Value tag, FtnAddr& addr, FixedText<36>& name) {
  if (const auto* block = find_block(blocks.name, tag)) {
    name = block->entries.front().text;
    return true;
  }
  if (const auto* block = find_block(blocks.address, tag)) {
    apply_address(block->entries.front().address, addr);
    return true;
  }
  if (const auto* block = find_block(blocks.addressname, tag)) {
    name = block->entries.front().name;
    apply_address(block->entries.front().address, addr);
    return true;
  }
  FtnAddr aka;
  if (match_aka(tag, reader.args.to, aka) == 0) return false;
  apply_address(aka, addr);
  return true;
}

void set_party(OptionReader& reader, Value value, FtnAddr& addr, FixedText<36>& name) {
  constexpr size_t widest = 255;
  value = value.substr(0, widest);
  if (value.empty()) return;
  if (!reader.direct) {
    if (!party_from_block(reader, value, addr, name)) {
      stop_run("%s block undefinded : `%s'\n", reader.label, std::string(value).c_str());
    }
    return;
  }
  Value rest = value;
  Value word;
  FtnAddr given;
  if (next_word(rest, word) && addr_parse_wild(word, given) == 1) {
    apply_address(given, addr);
    if (!rest.empty()) name = rest;
  } else {
    name = value;
  }
}

void option_to(OptionReader& reader, Value value) {
  set_party(reader, value, reader.args.to, reader.args.toname);
}

void option_from(OptionReader& reader, Value value) {
  set_party(reader, value, reader.args.from, reader.args.fromname);
}

void option_subject(OptionReader& reader, Value value) {
  if (reader.direct) {
    reader.args.subject = value;
    log_line(6, "get_new_msgarg: subj: `%s'\n", reader.args.subject.c_str());
    return;
  }
  const Block<SubjectEntry>* block = find_block(blocks.subject, value);
  if (block == nullptr) {
    stop_run("%s no such <Data Subject> : `%s'\n", reader.label, std::string(value).c_str());
  }
  reader.args.subject = block->entries.front().text;
  log_line(6, "get_new_msgarg: subj from block: `%s'\n", reader.args.subject.c_str());
}

void option_attributes(OptionReader& reader, Value value) {
  constexpr size_t widest = 127;
  std::string words(value.substr(0, widest));
  if (words.empty()) return;
  log_line(6, "get_new_msgarg: attr: `%s'\n", words.c_str());
  NewMsgArgs& args = reader.args;
  AttrWords copies = {.attr = args.attr, .flags = args.flags, .intattr = args.intattr};
  if (reader.direct) {
    for (const std::string& word : split_words(words)) {
      if (equal_nocase(word, "clear")) {
        copies = AttrWords();
      } else {
        set_attr_word(word, copies);
      }
    }
  } else {
    bool inverse = words[0] == '!';
    std::string tag(trim_spaces(std::string_view(words).substr(inverse ? 1 : 0)));
    const Block<AttributeEntry>* block = find_block(blocks.attribute, tag);
    if (block == nullptr) stop_run("%s block undefined : `%s'\n", reader.label, tag.c_str());
    set_attr_block(*block, inverse, copies);
  }
  args.attr = copies.attr;
  args.flags = copies.flags;
  args.intattr = copies.intattr;
}

void option_template(OptionReader& reader, Value value) {
  if (reader.args.tpl) return;
  reader.args.tpl = template_lines(value);
  reader.args.tpl_pos = reader.tpl_pos;
}

void option_lines(OptionReader& reader, Value value) {
  if (!reader.direct || reader.args.lines) return;
  if (value.ends_with('.')) {
    reader.args.lines = array_lines(value);
  } else {
    text_to_lines(reader.args.lines.emplace(), value);
  }
  reader.args.lines_pos = reader.lines_pos;
}

void option_echo(OptionReader& reader, Value value) {
  if (!value.empty()) reader.args.area = value;
}

void option_date(OptionReader& reader, Value value) {
  std::time_t& time = reader.args.time;
  time = value.empty() ? std::time(nullptr) : text_to_unix(value);
  if (time == 0) log_line(0, "incorrect date format `%s', ignored\n", std::string(value).c_str());
}

void option_origin(OptionReader& reader, Value value) {
  reader.args.origin = value;
}

void option_tearline(OptionReader& reader, Value value) {
  reader.args.tearline = value;
}

void option_route(OptionReader& reader, Value value) {
  if (value.empty()) return;
  reader.args.route = value;
  log_line(4, "try to set route `%s'\n", reader.args.route.c_str());
}

void option_pkthdr(OptionReader& reader, Value value) {
  std::vector<std::string> texts;
  PktHeader header;
  if (named_array(value, texts) && set_pkt_hdr(texts, reader.label, header)) {
    reader.args.pkthdr = header;
  }
}

enum class Number {
  none,   // the option takes no number
  tpl,    // sets the place of the template
  lines,  // sets the place of the lines
};

struct Option {
  std::string_view word;
  Number number;
  void (*read)(OptionReader& reader, Value value);
};

constexpr Option options_table[] = {
    {"-t", Number::none, option_to},      {"-f", Number::none, option_from},
    {"-s", Number::none, option_subject}, {"-a", Number::none, option_attributes},
    {"-h", Number::tpl, option_template}, {"-l", Number::lines, option_lines},
    {"-e", Number::lines, option_echo},   {"-d", Number::lines, option_date},
    {"-o", Number::lines, option_origin}, {"-r", Number::lines, option_tearline},
    {"-u", Number::lines, option_route},  {"-p", Number::lines, option_pkthdr},
};

// True if `word` is the option, with or without a number, which it puts into its place.
bool is_option(const Option& option, Value word, OptionReader& reader) {
  if (!starts_nocase(word, option.word)) return false;
  Value number = word.substr(option.word.size());
  if (number.empty()) return true;
  if (option.number == Number::none || !is_number(number)) return false;
  log_line(6, "get_new_msgarg: got lineno for -t or -l : `%s'\n", std::string(number).c_str());
  auto value = static_cast<int>(to_number(number));
  bool for_template = option.number == Number::tpl;
  (for_template ? reader.tpl_pos : reader.lines_pos) = value;
  log_line(6, for_template ? "get_new_msgarg: got tno : %d\n" : "get_new_msgarg: got lno : %d\n", value);
  return true;
}

void read_option(OptionReader& reader, const std::string& text) {
  Value rest = text;
  Value word;
  next_word(rest, word);
  for (const Option& option : options_table) {
    if (!is_option(option, word, reader)) continue;
    Value value = trim_spaces(rest);
    reader.direct = value.starts_with('@');
    if (reader.direct) value = trim_spaces(value.substr(1));
    log_line(6, reader.direct ? "direct data" : "block search");
    option.read(reader, unquote(value));
    return;
  }
  stop_run("%s incorrect argument : `%s'\n", reader.label, text.c_str());
}

}  // namespace

NewMsgArgs args_of(const Msg& msg) {
  NewMsgArgs args;
  args.from = msg.from;
  args.fromname = msg.fromname;
  args.to = msg.to;
  args.toname = msg.toname;
  args.subject = msg.subject;
  args.attr = msg.attr;
  args.flags = msg.flags;
  args.intattr = msg.intattr;
  return args;
}

std::vector<std::string> option_args(const ScriptCall& call, int first) {
  constexpr int most_args = 10;
  std::vector<std::string> options;
  for (int i = first; i < std::min(call.count(), most_args); i++) {
    std::string option(unquote(trim_spaces(call.text(i))));
    expand_macro(option);
    options.push_back(std::move(option));
  }
  return options;
}

void get_new_msgarg(const std::vector<std::string>& options, const char* label, NewMsgArgs& args) {
  OptionReader reader = {.args = args, .label = label};
  for (const std::string& option : options) read_option(reader, option);
}

Msg apply_msgarg(const Msg& msg, const NewMsgArgs& args) {
  Msg fresh = msg;
  fresh.toname = args.toname;
  fresh.fromname = args.fromname;
  fresh.subject = args.subject;
  fresh.to = args.to;
  fresh.from = args.from;
  fresh.attr = args.attr;
  fresh.flags = args.flags;
  fresh.intattr = args.intattr;
  if (args.time != 0) {
    fresh.time = args.time;
    fresh.date = unix_to_fts(args.time);
  }
  return fresh;
}

LineList apply_text_args(const LineList& text, const NewMsgArgs& args, const FtnAddr& from) {
  LineList list = text;
  if (args.tpl) add_text(list, *args.tpl, args.tpl_pos, Count::body);
  if (args.lines) add_text(list, *args.lines, args.lines_pos, Count::body);
  if (args.area) add_text(list, "AREA:" + upper(*args.area) + "\r", 1, Count::all);
  if (args.tearline) add_text(list, "--- " + args.tearline->str() + "\r", at_end, Count::body);
  if (args.origin) {
    add_text(list, " * Origin: " + args.origin->str() + " (" + addr_to_text(from) + ")\r", at_end,
             Count::body);
  }
  return list;
}

void shape_text(const Msg& old, const NewMsgArgs& args, bool echo, Msg& msg, LineList& list,
                const ShapeLines& lines) {
  auto trace = [](const char* line) {
    if (line != nullptr) log_text(4, line);
  };
  bool from_changed = !addr_equal(msg.from, old.from);
  if (echo) {
    strip_netmail_kludges(list);
    if (from_changed) {
      trace(lines.echomail);
      change_echomail_kludges(msg, list);
    }
  } else {
    new_route(args, msg);
    if (from_changed || !addr_equal(msg.to, old.to)) {
      trace(lines.netmail);
      change_netmail_kludges(msg, list);
    }
  }
  if (echo || args.flags != old.flags) {
    trace(lines.flags);
    set_flags_kludge(list, flags_to_text(args.flags));
  }
}

void apply_invalid_flags(const char* name, const Msg& msg, LineList& list, bool all_kludges) {
  if (msg.has(int_invalidvias)) {
    log_line(2, "%s: invalidate vias\n", name);
    invalidate_vias(list);
  }
  if (msg.has(int_invkludges)) {
    log_line(2, "%s: invalidate kludges\n", name);
    invalidate_kludges(list, all_kludges);
  }
}

void apply_address(const FtnAddr& src, FtnAddr& dest) {
  if (!is_wildcard(src.zone)) dest.zone = src.zone;
  if (!is_wildcard(src.net)) dest.net = src.net;
  if (!is_wildcard(src.node)) dest.node = src.node;
  if (!is_wildcard(src.point)) dest.point = src.point;
  dest.domain = src.domain;
}

void new_route(const NewMsgArgs& args, Msg& msg) {
  if (args.route.empty()) return;
  if (addr_parse(args.route, msg.routeto) == 1) return;
  log_line(4, "set_route: `%s' is not valid ADDR, try block route\n", args.route.c_str());
  set_route(args.route, msg);
}

}  // namespace quelmo
