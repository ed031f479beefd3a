// SEARCH ALL over 10,000 entries beside std::lower_bound over the same keys as native integers.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

constexpr int32_t entries = 10000;
constexpr int32_t entrySize = 20;
constexpr uint32_t packedSize = 5;  // nine digits

void pack(int32_t value, uint8_t* item) {
  _qrtcBCD_CONV_Int4_To_Pckd(value, item, 9);
}

// Ascending keys with gaps, from the same numbers on both sides, and what is looked up: hits and near misses.
struct Data {
  std::vector<int32_t> keys;
  std::vector<uint8_t> table = std::vector<uint8_t>(entries * entrySize);
  std::vector<int32_t> wanted;
  std::vector<uint8_t> packedWanted;

  Data() {
    std::mt19937 random(1);
    int32_t key = -100000000;
    for (int32_t at = 0; at < entries; ++at) {
      keys.push_back(key += 1 + static_cast<int32_t>(random() % 40000));
      pack(key, &table[at * entrySize + 4]);
    }
    for (int32_t at = 0; at < 4096; ++at) {
      wanted.push_back(keys[random() % keys.size()] + static_cast<int32_t>(random() % 2));
      packedWanted.resize(packedWanted.size() + packedSize);
      pack(wanted.back(), &packedWanted[at * packedSize]);
    }
  }
};

const Data data;

void BM_SearchAll_Packed(benchmark::State& state) {
  const struct {
    QrtSearchControl fixed;
    uint32_t length;
    uint8_t flags;
  } control{{0, 1, 1, 0, {{QRT_SEARCH_PACKED | QRT_SEARCH_ASCENDING, packedSize, 4}}}, packedSize, 0};
  const void* const programContext[8] = {};
  size_t at = 0;
  for (auto _ : state) {
    const uint8_t* const key = &data.packedWanted[at++ % data.wanted.size() * packedSize];
    const QrtSearchArgument argument{key, key};
    benchmark::DoNotOptimize(_qrtcSrchAll(&control.fixed, data.table.data(), entries, entrySize, &argument,
                                          nullptr, programContext));
  }
}
BENCHMARK(BM_SearchAll_Packed);

void BM_LowerBound(benchmark::State& state) {
  size_t at = 0;
  for (auto _ : state) {
    const int32_t key = data.wanted[at++ % data.wanted.size()];
    const auto found = std::lower_bound(data.keys.begin(), data.keys.end(), key);
    benchmark::DoNotOptimize(found != data.keys.end() && *found == key ? found - data.keys.begin() : -1);
  }
}
BENCHMARK(BM_LowerBound);

}  // namespace
