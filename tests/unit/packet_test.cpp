#include <vector>

#include "bases/dates.h"
#include "bases/flow.h"
#include "bases/packet_file.h"
#include "bases/pkt_records.h"
#include "bases/pkt_write.h"
#include "message/attributes.h"
#include "run_fixture.h"

namespace quelmo {
namespace {

using namespace std::string_literals;

// The worked example of docs/formats/pkt.md.
std::string worked_example() {
  return "\x0a\x00\x64\x00\xcf\x07\x00\x00\x01\x00\x0c\x00\x00\x00\x00\x00\x00\x00\x02\x00\xff\xff\xe7\x03"
         "\x41\x01"
         "SECRET\x00\x00\x02\x00\x02\x00\xe7\x03\x00\x01\x00\x02\x01\x00\x02\x00\x02\x00\x03\x00\x00\x00\x00"
         "\x00\x00\x00"
         "\x02\x00\x0a\x00\x64\x00\xe7\x03\xe7\x03\x01\x00\x00\x00"
         "01 Jan 99  12:00:00\0Bob\0Ann\0Hello\0Hi Bob\r\0\0\0"s;
}

TEST(PktRecords, WorkedExampleReadsAndWritesBack) {
  const std::string whole = worked_example();
  PktHeader header;
  ASSERT_TRUE(read_pkt_header_bytes(whole, header));
  EXPECT_EQ(addr_to_text(pkt_from(header)), "2:999/10.3");
  EXPECT_EQ(addr_to_text(pkt_to(header)), "2:999/100");
  EXPECT_EQ(header.year, 1999);
  EXPECT_EQ(pkt_header_bytes(header), whole.substr(0, pkt_header_size));

  std::string_view messages = std::string_view(whole).substr(pkt_header_size);
  messages.remove_suffix(pkt_end.size());
  size_t at = 0;
  PackedMsg packed;
  LineList text;
  ASSERT_EQ(take_packed(messages, at, packed, text), Taken::whole);
  EXPECT_EQ(at, messages.size());
  Msg msg;
  packed_to_msg(packed, msg);
  EXPECT_EQ(msg.toname.str() + msg.fromname.str() + msg.subject.str(), "BobAnnHello");
  EXPECT_EQ(msg.attr, attr_private);
  std::string written;
  put_packed(written, msg_to_packed(msg, msg.from), text);
  EXPECT_EQ(written, messages);
}

// Each length that the messages can be cut to, from a buffer that ends where they end: nothing is read beyond
// it, and a message is whole only up to a NUL or the end.
TEST(PktRecords, EveryTruncationIsReadOrRefused) {
  const std::string whole = worked_example().substr(pkt_header_size);
  for (size_t size = 0; size < whole.size(); size++) {
    std::vector<char> exact(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    size_t at = 0;
    PackedMsg msg;
    LineList text;
    Taken taken = take_packed({exact.data(), exact.size()}, at, msg, text);
    EXPECT_EQ(taken == Taken::grunged, size < pkt_msg_header_size) << size;
    EXPECT_EQ(taken == Taken::whole, size == pkt_msg_header_size || size > 0x6a - 0x3a) << size;
    EXPECT_EQ(at, taken == Taken::whole ? std::min(size, whole.size() - pkt_end.size()) : 0);
  }
}

// Every byte of a header comes back, what follows the NUL of a password too.
TEST(PktRecords, HeadersAreKeptByteForByte) {
  std::string bytes;
  for (size_t i = 0; i < pkt_header_size; i++) bytes += static_cast<char>(i * 37 % 251);
  PktHeader header;
  ASSERT_TRUE(read_pkt_header_bytes(bytes, header));
  EXPECT_EQ(pkt_header_bytes(header), bytes);
  EXPECT_FALSE(read_pkt_header_bytes(bytes.substr(1), header));

  PktHeader old = {.origNet = 5020, .destNet = 5020, .qOrigZone = 2, .qDestZone = 3};
  EXPECT_EQ(pkt_from(old).zone, 2) << "a header of the older type has its zones in the copies";
  EXPECT_EQ(pkt_to(old).zone, 3);
}

TEST(Flow, Lines) {
  // The worked example of docs/formats/flow.md, and ends of all sorts.
  struct Case {
    std::string list;
    std::vector<std::pair<std::string, uint16_t>> lines;
  };
  const Case cases[] = {
      {"^/f/a.zip\r\n#b\n/f/c", {{"/f/a.zip", flags_kfs}, {"b", flags_tfs}, {"/f/c", 0}}},
      {"a\r\rb\n\r\0c\0\0\0"s, {{"a", 0}, {"b", 0}, {"", 0}, {"c", 0}, {"", 0}}},
      {"^", {{"", flags_kfs}}},
      {std::string(100, 'x') + "\n", {{std::string(71, 'x'), 0}, {std::string(29, 'x'), 0}}},
      {"#" + std::string(71, 'y') + "\r\n", {{std::string(71, 'y'), flags_tfs}}},
  };
  for (const Case& c : cases) {
    size_t at = 0;
    std::vector<std::pair<std::string, uint16_t>> lines;
    while (at < c.list.size()) {
      size_t before = at;
      FlowLine line = take_flow_line(c.list, at, 71);
      ASSERT_GT(at, before);
      lines.emplace_back(line.file, line.flags);
    }
    EXPECT_EQ(lines, c.lines) << c.list;
  }
}

using PacketFile = RunTest;

// Every way to keep and drop five messages leaves just those that were kept, in their order.
TEST_F(PacketFile, EveryChoiceOfMessages) {
  for (unsigned choice = 0; choice < 32; choice++) {
    std::string path = dir + std::to_string(choice) + ".pkt";
    std::string expected = worked_example().substr(0, pkt_header_size);
    std::string all = expected;
    LineList text;
    for (unsigned i = 0; i < 5; i++) {
      text.split(std::string(20 * (i + 1), static_cast<char>('a' + i)) + "\r");
      std::string packed;
      put_packed(packed,
                 {.header = {.date = "01 Jan 99  12:00:00"}, .toname = "T", .fromname = "F", .subject = {}},
                 text);
      all += packed;
      if ((choice >> i & 1) != 0) expected += packed;
    }
    std::ofstream(path) << all << pkt_end;
    PktScan scan;
    ASSERT_EQ(load_packet(path, scan), Load::ok);
    for (unsigned i = 0; i < 5; i++) {
      ASSERT_TRUE(read_packed_msg(scan, text));
      if ((choice >> i & 1) != 0) {
        keep_current(scan);
      } else {
        drop_current(scan);
      }
      keep_current(scan);  // its fate is settled: this changes nothing
    }
    EXPECT_TRUE(at_end(scan));
    EXPECT_TRUE(save_file(scan));
    EXPECT_EQ(read_file(path).value_or("gone"), choice == 0 ? "gone" : expected + std::string(pkt_end))
        << choice;
  }
}

// A packet isn't longer than its limit unless by a single message, and a tosser that takes one away gets the
// next message in a new one.
TEST_F(PacketFile, WritingCutsBySizeAndFollowsTheFile) {
  define("PKTLENGTH", "CUT", "1000 *:*/*.*");
  Area area;
  area.type = area_pkt;
  area.path = dir;
  area.pkt_length = "CUT";
  PktHeader header = {.destNode = 1, .destNet = 999, .destZone = 2};
  PackedMsg msg = {.header = {}, .toname = "T", .fromname = "F", .subject = "S"};
  auto put = [&](size_t bytes) {
    LineList text;
    text.split(std::string(bytes - 41, 'x'));
    EXPECT_TRUE(write_pkt_msg(area, header, msg, text, 0));
    return current.lastname;
  };
  forget_pkt_names();
  std::string first = put(600);
  std::string second = put(600);
  EXPECT_NE(first, second) << "600 and 658 are more than 1000";
  EXPECT_EQ(put(342), second) << "342 and 658 are not";
  EXPECT_NE(put(2000), second);
  std::string large = current.lastname;
  EXPECT_NE(put(100), large);
  area.pkt_length.clear();
  std::string open = put(600);
  ASSERT_TRUE(remove_file(open));
  EXPECT_EQ(put(50), open);
  EXPECT_EQ(file_info(open)->size, pkt_header_size + 50 + pkt_end.size());
  std::ofstream(open, std::ios::app) << "no end";
  EXPECT_NE(put(50), open) << "a packet without an end is left alone";
  forget_pkt_names();
}

}  // namespace
}  // namespace quelmo
