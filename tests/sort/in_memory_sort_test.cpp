// The sort of one buffer beside std::stable_sort of the keys as byte strings.
#include "sort/engine/in_memory_sort.h"

#include "sort/engine/entry.h"

namespace {

using namespace qrt::sort;

using Words = std::vector<uint32_t>;

constexpr size_t kinds = 12;

// The fields of the key of entry `at` of `count`, in one of the kinds of distributions.
Words fieldsOf(size_t kind, uint32_t at, uint32_t count, std::mt19937& random) {
  const auto any = [&] { return static_cast<uint32_t>(random()); };
  switch (kind) {
    case 0:
      return {any(), any()};
    case 1:
      return {at * 3};
    case 2:
      return {(count - at) * 70000};
    case 3:
      return {7, 7, 7};
    case 4:
      return {any() % 5 << 20, any() % 3};
    // One word that most rows have, at either end of the range and inside it.
    case 5:
      return {any() % 3 ? UINT32_MAX : any()};
    case 6:
      return {any() % 3 ? 0 : any()};
    case 7:
      return {any() % 3 ? 1U << 31 : any() % 9 << 29, any() % 2};
    // Words that a sample is blind to: a dense middle between rare extremes, powers of two, and long
    // prefixes.
    case 8:
      return {at % 97 ? 1000 + any() % 40 : any()};
    case 9:
      return {1U << any() % 32, any() >> any() % 32};
    case 10:
      return Words(any() % 9, 0x41414141);
    default:
      return {at % 2 ? 5 : UINT32_MAX - at};
  }
}

// A buffer of entries whose keys are the given fields and the number of the record, and its table of offsets,
// newest record first, as extraction leaves it.
struct Buffer {
  Words bytes;
  Words table;
  std::vector<Words> keys;

  Buffer(size_t count, size_t kind, std::mt19937& random) {
    for (uint32_t at = 0; at < count; ++at) {
      Words key = fieldsOf(kind, at, static_cast<uint32_t>(count), random);
      key.insert(key.end(), {0, at});
      table.push_back(static_cast<uint32_t>(bytes.size() * 4 + keyOffset));
      bytes.insert(bytes.end(), {static_cast<uint32_t>(key.size() * 4), 4});
      bytes.insert(bytes.end(), key.begin(), key.end());
      bytes.push_back(random());
      keys.push_back(std::move(key));
    }
    std::reverse(table.begin(), table.end());
  }

  Words plainOrder() const {
    std::vector<std::pair<Words, uint32_t>> entries;
    for (size_t at = 0; at < keys.size(); ++at) entries.emplace_back(keys[at], table[keys.size() - 1 - at]);
    std::sort(entries.begin(), entries.end());  // no two keys are equal
    Words offsets;
    for (const auto& entry : entries) offsets.push_back(entry.second);
    return offsets;
  }
};

TEST(InMemorySort, OrdersEveryDistributionLikeAStableSort) {
  std::mt19937 random(7);
  std::vector<size_t> counts = {0,   1,   2,   3,   4,   5,   59,   60,   61,    62,
                                255, 256, 257, 511, 512, 513, 1024, 4096, 32768, 32769};
  for (int more = 0; more < 60; ++more) counts.push_back(random() % 1500);
  for (const size_t count : counts) {
    std::vector<uint8_t> storage(sortWorkAreaBytes(count) + 16, 0xEE);
    for (size_t kind = 0; kind < kinds; ++kind) {
      Buffer buffer(count, kind, random);
      SortWorkArea work = layOutSortWorkArea(storage.data(), count);
      work.sampleStart = random() % 153;
      const Words expected = buffer.plainOrder();
      Sort(reinterpret_cast<const uint8_t*>(buffer.bytes.data()), buffer.table, work);
      ASSERT_EQ(buffer.table, expected) << count << " rows, distribution " << kind;
      ASSERT_TRUE(std::all_of(storage.end() - 16, storage.end(), [](uint8_t byte) { return byte == 0xEE; }));
    }
  }
}

}  // namespace
