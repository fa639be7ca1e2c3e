// Measures nodelists: bench_nodelist LIST. Prints how long the making of each index takes beside a read of
// the list with its CRC in the same run, and how many look-ups a second routing by hub and region reaches.

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "core/crc32.h"
#include "core/run_state.h"
#include "nodelist/list_lines.h"
#include "nodelist/lookup.h"
#include "nodelist/routing.h"
#include "platform/files.h"
#include "select/data_blocks.h"

namespace {

using namespace quelmo;

// Time of the processor: the making of an index waits for the disk at its end, and that wait is not its work.
double processor_time() {
  timespec now = {};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double seconds(const std::function<void()>& work) {
  double start = processor_time();
  work();
  return processor_time() - start;
}

double best(int runs, const std::function<void()>& work) {
  double shortest = seconds(work);
  for (int i = 1; i < runs; i++) shortest = std::min(shortest, seconds(work));
  return shortest;
}

// Every node of the list.
std::vector<FtnAddr> addresses(const std::string& list) {
  std::vector<FtnAddr> all;
  FtnAddr at;
  ListLines lines(list, 0, 254);
  for (std::string_view line; lines.next(line);) {
    ListLine parsed;
    if (line.starts_with(';') || parse_list_line(line, parsed) != ListFault::none) continue;
    auto number = static_cast<uint16_t>(parsed.number);
    if (parsed.keyword == ListKeyword::zone) at.zone = number;
    if (parsed.keyword == ListKeyword::host) {
      at.net = number;
    } else if (at.net != 0 && parsed.keyword != ListKeyword::zone && parsed.keyword != ListKeyword::region) {
      at.node = number;
      all.push_back(at);
    }
  }
  return all;
}

// A rule by hub and a rule by region that fit nothing, and one by region that does, with hub routing: four
// look-ups for each message.
constexpr int lookups_each = 4;
RoutingRule rule(const char* dest, const char* target) {
  RoutingRule made;
  made.targets.emplace_back();
  addr_parse_wild(dest, made.dest);
  addr_parse_wild(target, made.targets.back());
  return made;
}

void measure_routing(const char* name, const std::vector<FtnAddr>& all) {
  Msg msg;
  set_route("ROUTES", msg);
  size_t step = all.size() / 5000 + 1;
  int routed = 0;
  double time = seconds([&] {
    for (size_t i = 0; i < all.size(); i += step, routed++) {
      msg.to = all[i];
      set_route("ROUTES", msg);
    }
  });
  std::printf("%-9s %8.0f look-ups/s\n", name, routed * lookups_each / time);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  std::filesystem::path file = argv[1];
  std::string path = file.parent_path().string() + "/";
  std::string name = file.filename().string();
  std::optional<std::string> list = read_file(file.string());
  if (!list) return 1;
  config.chat = false;

  constexpr int runs = 7;
  double read = best(runs, [&] { crc32_file(file.string()); });
  double ndl = best(runs, [&] { ndl_build({name}, path, "ndx"); });
  double v9 = best(runs, [&] { v9_compile({name}, path, "v9", 0xFFFF, 0xFFFF); });
  std::printf("list      %zu bytes, read and CRC %.1f ms\n", list->size(), read * 1e3);
  std::printf("NODELIST  index in %.1f ms, %.1f times the read\n", ndl * 1e3, ndl / read);
  std::printf("VERSION9  index in %.1f ms, %.1f times the read\n", v9 * 1e3, v9 / read);

  std::vector<FtnAddr> all = addresses(*list);
  Block<RoutingRule> routes;
  routes.tag = "ROUTES";
  routes.entries = {rule("1:1/1", "*:*/9999.#"), rule("1:1/1", "*:65000/#.*"), rule("*:*/#.*", "*:*/*.*")};
  blocks.routing.push_back(routes);
  NodelistEntry entry;
  entry.path = path;
  entry.names = {name};
  for (const char* ext : {"v9", "ndx"}) {
    entry.ext = ext;
    blocks.version9.clear();
    blocks.nodelist.clear();
    NodelistBlock block;
    block.entries = {entry};
    (ext[0] == 'v' ? blocks.version9 : blocks.nodelist).push_back(block);
    measure_routing(ext[0] == 'v' ? "VERSION9" : "NODELIST", all);
  }
  return 0;
}
