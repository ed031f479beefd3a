// NUMVAL and NUMVAL-C beside strtold on the text as it would have to be cleaned for it; case and REVERSE
// beside the plain loops.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

namespace {

constexpr QrtNumvalControl control = {'$', '.', QRT_CURRENCY_BYTE};

template <size_t size>
void numval(benchmark::State& state, const char (&text)[size]) {
  double value = 0;
  for (auto _ : state) {
    _qrtcNumval(&control, size - 1, text, &value);
    benchmark::ClobberMemory();
  }
}

template <typename Character, size_t size>
void numvalC16(benchmark::State& state,
               void (*entry)(const QrtNumvalControl*, int32_t, const void*, int32_t, const void*, void*),
               const Character (&text)[size]) {
  long double value = 0;
  for (auto _ : state) {
    entry(&control, sizeof text - sizeof(Character), text, 0, nullptr, &value);
    benchmark::ClobberMemory();
  }
}

void cleanText(benchmark::State& state, const char* text) {
  double value = 0;
  for (auto _ : state) {
    value = static_cast<double>(strtold(text, nullptr));
    benchmark::DoNotOptimize(value);
    benchmark::ClobberMemory();
  }
}

void BM_Numval(benchmark::State& state) {
  numval(state, " -1234.50 ");
}
BENCHMARK(BM_Numval);

void BM_Strtold(benchmark::State& state) {
  cleanText(state, "-1234.50");
}
BENCHMARK(BM_Strtold);

void BM_NumvalC(benchmark::State& state) {
  numvalC16(state, _qrtcNumvalC16, "$1,234.50CR");
}
BENCHMARK(BM_NumvalC);

void BM_NumvalCUnicode(benchmark::State& state) {
  numvalC16(state, _qrtuNumvalC16, u"$1,234.50CR");
}
BENCHMARK(BM_NumvalCUnicode);

void BM_Numval18(benchmark::State& state) {
  numval(state, "1234567890123456.78");
}
BENCHMARK(BM_Numval18);

void BM_Strtold18(benchmark::State& state) {
  cleanText(state, "1234567890123456.78");
}
BENCHMARK(BM_Strtold18);

void BM_Numval31(benchmark::State& state) {
  numval(state, "1234567890123456789012345678901");
}
BENCHMARK(BM_Numval31);

void BM_Strtold31(benchmark::State& state) {
  cleanText(state, "1234567890123456789012345678901");
}
BENCHMARK(BM_Strtold31);

struct Field {
  uint8_t source[80], destination[80];

  Field() {
    for (uint8_t at = 0; at < sizeof source; ++at) source[at] = static_cast<uint8_t>('0' + at);
  }
};

void BM_ToLower80(benchmark::State& state) {
  Field field;
  for (auto _ : state) {
    _qrtToLower(sizeof field.source, field.source, field.destination);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ToLower80);

void BM_PlainLower80(benchmark::State& state) {
  uint8_t table[256];
  for (int byte = 0; byte < 256; ++byte)
    table[byte] = static_cast<uint8_t>(byte >= 'A' && byte <= 'Z' ? byte + 32 : byte);
  Field field;
  for (auto _ : state) {
    std::transform(field.source, std::end(field.source), field.destination,
                   [&](uint8_t byte) { return table[byte]; });
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_PlainLower80);

void BM_Reverse80(benchmark::State& state) {
  Field field;
  for (auto _ : state) {
    _qrtcReverse(sizeof field.source, field.source, field.destination);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Reverse80);

void BM_ReverseCopy80(benchmark::State& state) {
  Field field;
  for (auto _ : state) {
    std::reverse_copy(field.source, std::end(field.source), field.destination);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ReverseCopy80);

}  // namespace
