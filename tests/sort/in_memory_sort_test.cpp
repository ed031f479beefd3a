// The sort of one buffer beside std::stable_sort of the keys as byte strings.
#include "sort/engine/in_memory_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "sort/engine/entry.h"

namespace {

using namespace qrt::sort;

using Words = std::vector<uint32_t>;
using Fields = std::function<Words(size_t at, size_t count, std::mt19937& random)>;

// A buffer of entries whose keys are the given fields and the number of the record, and its table of offsets,
// newest record first, as extraction leaves it.
struct Buffer {
  Words bytes;
  Words table;
  std::vector<Words> keys;

  Buffer(size_t count, const Fields& fields, std::mt19937& random) {
    for (size_t at = 0; at < count; ++at) {
      Words key = fields(at, count, random);
      key.push_back(0);
      key.push_back(static_cast<uint32_t>(at));
      table.push_back(static_cast<uint32_t>(bytes.size() * 4 + keyOffset));
      bytes.insert(bytes.end(), {static_cast<uint32_t>(key.size() * 4), 4});
      bytes.insert(bytes.end(), key.begin(), key.end());
      bytes.push_back(random());
      keys.push_back(std::move(key));
    }
    std::reverse(table.begin(), table.end());
  }

  Words plainOrder() const {
    std::vector<size_t> order(keys.size());
    for (size_t at = 0; at < order.size(); ++at) order[at] = at;
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t left, size_t right) { return keys[left] < keys[right]; });
    Words offsets;
    for (const size_t at : order) offsets.push_back(table[keys.size() - 1 - at]);
    return offsets;
  }
};

const Fields fieldsOf[] = {
    [](size_t, size_t, std::mt19937& random) {
      return Words{uint32_t(random()), uint32_t(random())};
    },
    [](size_t at, size_t, std::mt19937&) { return Words{uint32_t(at * 3)}; },
    [](size_t at, size_t count, std::mt19937&) { return Words{uint32_t((count - at) * 70000)}; },
    [](size_t, size_t, std::mt19937&) {
      return Words{7, 7, 7};
    },
    [](size_t, size_t, std::mt19937& random) {
      return Words{uint32_t(random() % 5) << 20, uint32_t(random() % 3)};
    },
    // One word that most rows have, at either end of the range and inside it.
    [](size_t, size_t, std::mt19937& random) {
      return Words{random() % 3 ? UINT32_MAX : uint32_t(random())};
    },
    [](size_t, size_t, std::mt19937& random) { return Words{random() % 3 ? 0 : uint32_t(random())}; },
    [](size_t, size_t, std::mt19937& random) {
      return Words{random() % 3 ? 1U << 31 : uint32_t(random() % 9) << 29, random() % 2};
    },
    // Words that a sample is blind to: a dense middle between rare extremes, powers of two, and long
    // prefixes.
    [](size_t at, size_t, std::mt19937& random) {
      return Words{at % 97 ? 1000 + uint32_t(random() % 40) : uint32_t(random())};
    },
    [](size_t, size_t, std::mt19937& random) {
      return Words{uint32_t(1) << random() % 32, uint32_t(random()) >> random() % 32};
    },
    [](size_t, size_t, std::mt19937& random) { return Words(random() % 9, 0x41414141); },
    [](size_t at, size_t, std::mt19937&) { return Words{at % 2 ? 5 : UINT32_MAX - uint32_t(at)}; },
};

TEST(InMemorySort, OrdersEveryDistributionLikeAStableSort) {
  std::mt19937 random(7);
  std::vector<size_t> counts = {0,   1,   2,   3,   4,   5,   59,   60,   61,    62,
                                255, 256, 257, 511, 512, 513, 1024, 4096, 32768, 32769};
  for (int more = 0; more < 60; ++more) counts.push_back(random() % 1500);
  for (const size_t count : counts) {
    std::vector<uint8_t> storage(sortWorkAreaBytes(count) + 16, 0xEE);
    for (size_t kind = 0; kind < std::size(fieldsOf); ++kind) {
      Buffer buffer(count, fieldsOf[kind], random);
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
