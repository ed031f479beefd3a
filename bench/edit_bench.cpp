// Numeric editing beside the formatted print that a C programmer would use.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <string.h>

#include <random>
#include <vector>

namespace {

constexpr size_t values = 1024;

// Amounts of all sizes up to 9,999,999.99, one in three negative; each as an edit source and as a number.
struct Amounts {
  char sources[values][12];
  double numbers[values];

  Amounts() {
    std::mt19937 random(1);
    for (size_t at = 0; at < values; ++at) {
      uint32_t limit = 100;
      for (uint32_t more = random() % 8; more > 0; --more) limit *= 10;
      const uint32_t cents = random() % limit;
      const bool negative = random() % 3 == 0;
      snprintf(sources[at], sizeof sources[at], "%c%010u", negative ? '-' : '+',
               static_cast<unsigned>(cents));
      numbers[at] = (negative ? -1 : 1) * static_cast<double>(cents) / 100;
    }
  }
};

const Amounts amounts;

struct Picture {
  std::vector<uint8_t> bytes;

  Picture(const char* picture, uint8_t kind) : bytes(5 + strlen(picture)) {
    const auto length = static_cast<int16_t>(strlen(picture));
    memcpy(bytes.data(), &length, 2);
    bytes[2] = '.';
    bytes[3] = '$';
    bytes[4] = kind;
    memcpy(bytes.data() + 5, picture, length);
  }
  const QrtNumEditPicture* record() const { return reinterpret_cast<const QrtNumEditPicture*>(bytes.data()); }
};

void edit(benchmark::State& state, const char* text, uint8_t kind) {
  const Picture picture(text, kind);
  uint8_t item[16];
  size_t at = 0;
  for (auto _ : state) {
    _qrtcMoveNumToNumEdit(picture.record(), reinterpret_cast<const uint8_t*>(amounts.sources[at++ % values]),
                          item);
    benchmark::ClobberMemory();
  }
}

void BM_Edit_Suppression(benchmark::State& state) {
  edit(state, "ZZ,ZZZ,ZZ9.99-", QRT_EDIT_M);
}
BENCHMARK(BM_Edit_Suppression);

void BM_Edit_FloatingCurrency(benchmark::State& state) {
  edit(state, "$$,$$$,$$9.99CR", QRT_EDIT_S_FLOATING_CURRENCY);
}
BENCHMARK(BM_Edit_FloatingCurrency);

void BM_Snprintf(benchmark::State& state) {
  char item[32];
  size_t at = 0;
  for (auto _ : state) {
    snprintf(item, sizeof item, "%12.2f", amounts.numbers[at++ % values]);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Snprintf);

}  // namespace
