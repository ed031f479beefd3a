// Runs a fuzz target without libFuzzer: every seed of the folder named on the command line, then a fixed
// number of mutations of them from a fixed random seed, so that a test run is the same each time.
#include <stdint.h>
#include <stdio.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

constexpr int mutations = 20000;

void mutate(std::string& text, std::mt19937& random) {
  const int edits = 1 + static_cast<int>(random() % 4);
  for (int edit = 0; edit < edits; ++edit) {
    const size_t at = text.empty() ? 0 : random() % text.size();
    switch (random() % 4) {
      case 0:
        text.insert(at, 1, static_cast<char>(random()));
        break;
      case 1:
        if (!text.empty()) text.erase(at, 1 + random() % 3);
        break;
      case 2:
        if (!text.empty()) text[at] = static_cast<char>(random());
        break;
      default:
        text.insert(at, text.substr(text.size() / 2, random() % 8));
        break;
    }
  }
}

void run(const std::string& text) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

}  // namespace

int main(int count, char** arguments) {
  std::vector<std::string> seeds{""};
  if (count > 1 && std::filesystem::is_directory(arguments[1]))
    for (const auto& file : std::filesystem::directory_iterator(arguments[1])) {
      std::ifstream stream(file.path(), std::ios::binary);
      seeds.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
  for (const std::string& seed : seeds) run(seed);
  std::mt19937 random(20261124);
  for (int round = 0; round < mutations; ++round) {
    std::string text = seeds[random() % seeds.size()];
    mutate(text, random);
    run(text);
  }
  printf("%zu seeds and %d mutations passed\n", seeds.size(), mutations);
}
