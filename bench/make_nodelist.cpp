// Makes a nodelist of invented systems: make_nodelist FILE [NODES]. Six zones of eight regions, each with
// some dozen nets; in each net hubs with a few nodes below them.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

void line(std::ofstream& out, const char* keyword, int number, const char* what) {
  char text[160];
  std::snprintf(
      text, sizeof text,
      "%s,%d,%s_System_%d,Some_City_%d,Some_Sysop_%d,000-0-0-0-0,9600,CM,XA,IBN:host%d.example.org\r\n",
      keyword, number, what, number, number % 97, number, number);
  out << text;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: make_nodelist FILE [NODES]\n");
    return 2;
  }
  constexpr int zones = 6;
  constexpr int regions = 8;
  constexpr int nets = 24;
  int nodes = argc > 2 ? std::atoi(argv[2]) : 35000;
  int per_net = nodes / (zones * regions * nets) + 1;
  std::ofstream out(argv[1], std::ios::binary);
  out << ";A An invented nodelist for benchmarks\r\n;A\r\n";
  int made = 0;
  for (int zone = 1; zone <= zones; zone++) {
    line(out, "Zone", zone, "Zone");
    for (int region = 1; region <= regions; region++) {
      int region_number = zone * 10 + region;
      line(out, "Region", region_number, "Region");
      for (int net = 1; net <= nets; net++) {
        line(out, "Host", 1000 * zone + region * 100 + net, "Net");
        for (int node = 1; node <= per_net && made < nodes; node++, made++) {
          line(out, node % 10 == 5 ? "Hub" : (node % 13 == 0 ? "Pvt" : ""), node, "Node");
        }
      }
    }
  }
  return out.flush() ? 0 : 1;
}
