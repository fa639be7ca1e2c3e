// driver SEED...: runs a fuzz target over each file named, and over each file of the directories named:
// whole, cut short at many places, and with bytes changed, doubled and left out. The changes are the same in
// every run, so that a fault that was found once is found again; the last input before a crash lies in
// fuzz-input.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "target.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

constexpr size_t CUTS = 300;
constexpr int CHANGES = 2000;

// The input stands in a block of its exact size, so that one byte too far is seen.
void run(const Bytes& input) {
  std::ofstream("fuzz-input", std::ios::binary)
      .write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
  auto exact = std::make_unique<uint8_t[]>(input.size());
  std::copy(input.begin(), input.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), input.size());
}

void change(Bytes& input, std::mt19937& random) {
  static constexpr uint8_t likely[] = {0,   1,   '\r', '\n', '%', '"', ':', '/',
                                       '.', '@', '*',  '#',  '9', ' ', 0xFF};
  if (input.empty()) return;
  const size_t at = random() % input.size();
  const auto place = input.begin() + static_cast<std::ptrdiff_t>(at);
  const size_t span = std::min<size_t>(random() % 40, input.size() - at);
  const Bytes piece(place, place + static_cast<std::ptrdiff_t>(span));
  switch (random() % 5) {
    case 0:
      input[at] = static_cast<uint8_t>(input[at] ^ (1U << random() % 8));
      break;
    case 1:
      input[at] = likely[random() % std::size(likely)];
      break;
    case 2:
      input.erase(place, place + static_cast<std::ptrdiff_t>(span));
      break;
    case 3:
      input.insert(place, piece.begin(), piece.end());
      break;
    default:
      input.insert(place, random() % 300, likely[random() % std::size(likely)]);
  }
}

void run_seed(const fs::path& file, std::mt19937& random) {
  std::ifstream in(file, std::ios::binary);
  const Bytes seed((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  run(seed);
  const size_t step = std::max<size_t>(1, seed.size() / CUTS);
  for (size_t cut = 0; cut < seed.size(); cut += step) {
    run(Bytes(seed.begin(), seed.begin() + static_cast<std::ptrdiff_t>(cut)));
  }
  for (int i = 0; i < CHANGES; ++i) {
    Bytes input = seed;
    for (auto times = 1 + random() % 8; times > 0; --times) change(input, random);
    run(input);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<fs::path> seeds;
  for (int i = 1; i < argc; ++i) {
    if (fs::is_directory(argv[i])) {
      for (const auto& entry : fs::recursive_directory_iterator(argv[i])) {
        if (entry.is_regular_file()) seeds.push_back(fs::absolute(entry.path()));
      }
    } else {
      seeds.push_back(fs::absolute(argv[i]));
    }
  }
  std::sort(seeds.begin(), seeds.end());
  fuzz::check(!seeds.empty(), "there are seeds");
  // Messages of the program would drown what matters; sanitizers report on stdout under ctest.
  fuzz::check(std::freopen("/dev/null", "w", stderr) != nullptr, "stderr can be dropped");
  fuzz::enter_scratch_directory();
  std::mt19937 random(20240501);
  for (const fs::path& seed : seeds) run_seed(seed, random);
  const fs::path scratch = fs::current_path();
  fs::current_path("/");
  fs::remove_all(scratch);
  std::printf("%zu seeds\n", seeds.size());
  return 0;
}
