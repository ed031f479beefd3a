// The guard beside glibc's _setjmp: its cost is what a guarded entry takes longer than the same inner
// function without a guard. The message writer has both entries, and its empty control call does next to
// nothing.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <setjmp.h>

static void BM_WithGuard(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(_qrtWriteERRmsg(0, QRT_MESSAGE_CONTROL));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_WithGuard);

static void BM_WithoutGuard(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(qrtWriteERRmsg(0, QRT_MESSAGE_CONTROL));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_WithoutGuard);

static void BM_GlibcSetjmp(benchmark::State& state) {
  jmp_buf buffer;
  for (auto _ : state) {
    benchmark::DoNotOptimize(_setjmp(buffer));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_GlibcSetjmp);
