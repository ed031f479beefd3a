// Look-up of generations in a catalogue of 1,000, beside reading the 4,096 bytes of the file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

// A group in a folder of its own, as full as it can be, for as long as the process lives.
struct FullGroup {
  char folder[32] = "/tmp/generationsXXXXXX";
  std::string base;

  FullGroup() : base(std::string(mkdtemp(folder)) + "/GROUP") {
    GDG_Create(base.c_str(), 1000, 0, 0, "sys");
    for (int generation = 1; generation <= 1000; ++generation) {
      char* file = nullptr;
      GDS_Name((base + "(+1)").c_str(), &file, 1, "sys");
      fclose(fopen(file, "w"));
      free(file);
    }
  }
  ~FullGroup() { std::filesystem::remove_all(folder); }
};

const FullGroup& group() {
  static const FullGroup made;
  return made;
}

void BM_ReadCatalogue(benchmark::State& state) {
  const std::string path = group().base + ".catalogue";
  char image[4096];
  for (auto _ : state) {
    const int descriptor = open(path.c_str(), O_RDONLY);
    if (pread(descriptor, image, sizeof(image), 0) != sizeof(image)) state.SkipWithError("short");
    close(descriptor);
    benchmark::DoNotOptimize(image);
  }
}
BENCHMARK(BM_ReadCatalogue);

void BM_LookUp(benchmark::State& state) {
  const std::string name = group().base + "(" + std::to_string(-state.range(0)) + ")";
  for (auto _ : state) {
    char* file = nullptr;
    if (GDS_Name(name.c_str(), &file, 0, "PLT") != 1) state.SkipWithError("not found");
    free(file);
  }
}
BENCHMARK(BM_LookUp)->Arg(0)->Arg(500);

}  // namespace
