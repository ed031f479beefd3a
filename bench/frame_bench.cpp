// The guard: an exported entry that does next to nothing, beside glibc's _setjmp.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <setjmp.h>

static void BM_Guard(benchmark::State& state) {
  const uint8_t op[] = {0x1C};
  uint8_t result[1];
  for (auto _ : state) {
    _qrtcBCD_ADD_Pckd(op, op, result, 1, 1, 1);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Guard);

static void BM_GlibcSetjmp(benchmark::State& state) {
  jmp_buf buffer;
  for (auto _ : state) {
    benchmark::DoNotOptimize(_setjmp(buffer));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_GlibcSetjmp);
