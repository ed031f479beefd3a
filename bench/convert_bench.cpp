// Conversions through their entries, beside snprintf of the same number.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdio.h>

// The operands change from call to call, so that no branch is learnt by heart.
static constexpr int operands = 64;

static uint64_t digitsOf(int operand, int digits) {
  uint64_t value = 0x9E3779B97F4A7C15u * (operand + 1), modulus = 1;
  for (; digits > 0; --digits) modulus *= 10;
  return value % modulus;
}

static void packedDigits(uint8_t (*items)[8]) {
  for (int i = 0; i < operands; ++i) _qrtcBCD_CONV_Uns8_To_Pckd(digitsOf(i, 15), items[i], 15);
}

static void BM_PackedToZoned15(benchmark::State& state) {
  uint8_t items[operands][8], zoned[15];
  packedDigits(items);
  for (int i = 0; auto _ : state) {
    _qrtcBCD_CONV_Pckd_To_ZndTO(items[i++ % operands], zoned, 15, 15);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_PackedToZoned15);

static void BM_Snprintf15(benchmark::State& state) {
  char text[24];
  long long values[operands];
  for (int i = 0; i < operands; ++i) values[i] = static_cast<long long>(digitsOf(i, 15));
  for (int i = 0; auto _ : state) {
    snprintf(text, sizeof text, "%015lld", values[i++ % operands]);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Snprintf15);

static void BM_ZonedToPacked15(benchmark::State& state) {
  uint8_t items[operands][8], zoned[operands][15], packed[8];
  packedDigits(items);
  for (int i = 0; i < operands; ++i) _qrtcBCD_CONV_Pckd_To_ZndTO(items[i], zoned[i], 15, 15);
  for (int i = 0; auto _ : state) {
    _qrtcBCD_CONV_ZndTO_To_Pckd(zoned[i++ % operands], packed, 15, 15);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ZonedToPacked15);

static void BM_Int4ToPacked9(benchmark::State& state) {
  uint8_t packed[5];
  int32_t values[operands];
  for (int i = 0; i < operands; ++i) values[i] = static_cast<int32_t>(digitsOf(i, 9));
  for (int i = 0; auto _ : state) {
    _qrtcBCD_CONV_Int4_To_Pckd(values[i++ % operands], packed, 9);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Int4ToPacked9);

static void BM_Snprintf9(benchmark::State& state) {
  char text[24];
  int32_t values[operands];
  for (int i = 0; i < operands; ++i) values[i] = static_cast<int32_t>(digitsOf(i, 9));
  for (int i = 0; auto _ : state) {
    snprintf(text, sizeof text, "%09d", static_cast<int>(values[i++ % operands]));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Snprintf9);

static void BM_PackedToInt4(benchmark::State& state) {
  uint8_t items[operands][5];
  for (int i = 0; i < operands; ++i) _qrtcBCD_CONV_Uns8_To_Pckd(digitsOf(i, 9), items[i], 9);
  for (int i = 0; auto _ : state)
    benchmark::DoNotOptimize(_qrtcBCD_CONV_Pckd_To_Int4(items[i++ % operands], 9));
}
BENCHMARK(BM_PackedToInt4);

static void BM_Int8ToPacked18(benchmark::State& state) {
  uint8_t packed[10];
  int64_t values[operands];
  for (int i = 0; i < operands; ++i) values[i] = static_cast<int64_t>(digitsOf(i, 18));
  for (int i = 0; auto _ : state) {
    _qrtcBCD_CONV_Int8_To_Pckd(values[i++ % operands], packed, 18);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Int8ToPacked18);
