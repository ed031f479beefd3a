// Comparison under a collating sequence beside memcmp: 30 equal bytes, then a difference.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <string.h>

#include <array>

namespace {

struct Texts {
  uint8_t first[31], second[31];
  std::array<uint8_t, 256> table;

  Texts() {
    memset(first, 'N', sizeof first);
    memset(second, 'N', sizeof second);
    second[30] = 'M';
    for (size_t byte = 0; byte < table.size(); ++byte) table[byte] = static_cast<uint8_t>(byte ^ 0x20);
  }
};

Texts texts;

void BM_CmpACS(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        _qrtcCmpACS(texts.first, sizeof texts.first, texts.second, sizeof texts.second, texts.table.data()));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_CmpACS);

void BM_Memcmp(benchmark::State& state) {
  size_t size = sizeof texts.first;
  benchmark::DoNotOptimize(size);
  for (auto _ : state) {
    benchmark::DoNotOptimize(memcmp(texts.first, texts.second, size));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Memcmp);

}  // namespace
