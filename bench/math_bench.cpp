// MEDIAN beside std::nth_element on a copy, VARIANCE beside a plain loop, hexadecimal floats beside plain bit
// work, external floats beside the C library's print and read.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "decimal/plain_float.h"

namespace {

constexpr int32_t count = 10000;

std::vector<double> values(uint64_t seed = 1809) {
  std::mt19937_64 random(seed);
  std::vector<double> drawn(count);
  for (double& value : drawn) value = static_cast<double>(random() % 1'000'000'000) / 100;
  return drawn;
}

struct Slot {
  long double value;
  uint32_t ignored = 0;
};

double valueOf(double element) {
  return element;
}

long double valueOf(const Slot& element) {
  return element.value;
}

// Runs `median` over arrays in turn, so that a processor doesn't learn one array's comparisons by heart. Each
// is a fresh copy, or is copied by the entry.
template <typename Element, typename Median>
void medians(benchmark::State& state, bool copies, Median&& median) {
  std::vector<std::vector<Element>> arrays(16);
  for (auto& array : arrays)
    for (const double value : values(&array - arrays.data())) array.push_back(Element{value});
  std::vector<Element> copy(count);
  size_t at = 0;
  for (auto _ : state) {
    auto& array = arrays[++at % arrays.size()];
    if (copies) std::copy(array.begin(), array.end(), copy.begin());
    benchmark::DoNotOptimize(median(copies ? copy : array));
  }
}

template <typename Element>
auto medianByNthElement(std::vector<Element>& array) {
  const auto less = [](const Element& a, const Element& b) { return valueOf(a) < valueOf(b); };
  const auto middle = array.begin() + (count - 1) / 2;
  std::nth_element(array.begin(), middle, array.end(), less);
  return (valueOf(*middle) + valueOf(*std::min_element(middle + 1, array.end(), less))) / 2;
}

void BM_Median(benchmark::State& state) {
  medians<double>(state, false, [](const std::vector<double>& array) {
    double median = 0;
    _qrtcMedian(count, &median, array.data());
    return median;
  });
}
BENCHMARK(BM_Median);

void BM_NthElement(benchmark::State& state) {
  medians<double>(state, true, medianByNthElement<double>);
}
BENCHMARK(BM_NthElement);

void BM_Median16(benchmark::State& state) {
  medians<Slot>(state, true, [](std::vector<Slot>& array) {
    long double median = 0;
    _qrtcMedian16(count, &median, array.data());
    return median;
  });
}
BENCHMARK(BM_Median16);

void BM_NthElement16(benchmark::State& state) {
  medians<Slot>(state, true, medianByNthElement<Slot>);
}
BENCHMARK(BM_NthElement16);

void BM_Variance(benchmark::State& state) {
  const std::vector<double> array = values();
  double variance = 0;
  for (auto _ : state) {
    _qrtcVariance(count, &variance, 5e6, array.data());
    benchmark::DoNotOptimize(variance);
  }
}
BENCHMARK(BM_Variance);

void BM_PlainVariance(benchmark::State& state) {
  const std::vector<double> array = values();
  double variance = 0;
  for (auto _ : state) {
    double sum = 0;
    for (const double value : array) sum += (value - 5e6) * (value - 5e6);
    variance = sum / count;
    benchmark::DoNotOptimize(variance);
  }
}
BENCHMARK(BM_PlainVariance);

// A table of amounts, so that the shifts change from one to the next.
constexpr size_t amounts = 1024;

std::vector<uint64_t> hexAmounts() {
  std::vector<uint64_t> items(amounts);
  const std::vector<double> drawn = values();
  for (size_t i = 0; i < amounts; ++i) qrt::decimal::plainIeeeToHex8(drawn[i], items[i]);
  return items;
}

// Functions that a program calls, as the entries are.
[[gnu::noinline]] double plainHex8ToIeee(const uint64_t* item) {
  return qrt::decimal::plainHex8ToIeee(*item);
}

[[gnu::noinline]] int32_t plainIeeeToHex8(double value, uint64_t* item) {
  return qrt::decimal::plainIeeeToHex8(value, *item);
}

void BM_Hex8ToIeee(benchmark::State& state) {
  const std::vector<uint64_t> items = hexAmounts();
  size_t at = 0;
  for (auto _ : state) {
    double value = _qrtcConvHex8toIEEE(&items[++at % amounts]);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_Hex8ToIeee);

void BM_PlainHex8ToIeee(benchmark::State& state) {
  const std::vector<uint64_t> items = hexAmounts();
  size_t at = 0;
  for (auto _ : state) {
    double value = plainHex8ToIeee(&items[++at % amounts]);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_PlainHex8ToIeee);

// What the guard alone costs.
void BM_NoText(benchmark::State& state) {
  uint8_t byte = 0;
  for (auto _ : state) _qrtToLower(0, &byte, &byte);
}
BENCHMARK(BM_NoText);

void BM_IeeeToHex8(benchmark::State& state) {
  const std::vector<double> array = values();
  uint64_t item = 0;
  size_t at = 0;
  for (auto _ : state) {
    _qrtcConvIEEE8toHex(array[++at % amounts], &item);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_IeeeToHex8);

void BM_PlainIeeeToHex8(benchmark::State& state) {
  const std::vector<double> array = values();
  uint64_t item = 0;
  size_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(plainIeeeToHex8(array[++at % amounts], &item));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_PlainIeeeToHex8);

void BM_FloatToExternal(benchmark::State& state) {
  const QrtExternalFloat control{16, 9, 1, '+', '+', '.'};
  const std::vector<double> array = values();
  uint8_t item[16];
  size_t at = 0;
  for (auto _ : state) {
    _qrtcConvIntFltToExtFlt(&control, &array[++at % amounts], item);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_FloatToExternal);

void BM_Snprintf(benchmark::State& state) {
  const std::vector<double> array = values();
  char item[20];
  size_t at = 0;
  for (auto _ : state) {
    snprintf(item, sizeof item, "%+.9E", array[++at % amounts]);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Snprintf);

void BM_ExternalToFloat(benchmark::State& state) {
  const QrtExternalFloatSource control{16, 0, 1, 8};
  double value = 0;
  for (auto _ : state) {
    _qrtcConvExtFltToIntFlt(&control, reinterpret_cast<const uint8_t*>("+1.234567891E+06"), &value, 0);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ExternalToFloat);

void BM_Strtod(benchmark::State& state) {
  double value = 0;
  for (auto _ : state) {
    value = strtod("+1.234567891E+06", nullptr);
    benchmark::DoNotOptimize(value);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Strtod);

}  // namespace
