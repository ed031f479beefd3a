// The hash table against a plain list of its nodes.
#include "frame/hash.h"

#include <deque>

// The bucket by the rule, byte by byte.
static int32_t bucketOf(const std::string& key, int32_t buckets) {
  uint32_t x = 0, y = 0;
  const size_t words = key.size() / 4 * 4;
  for (size_t at = 0; at < words; ++at) x ^= uint32_t{static_cast<uint8_t>(key[at])} << (8 * (at % 4));
  for (size_t at = words; at < key.size(); ++at) y = y << 8 | static_cast<uint8_t>(key[at]);
  return qrt::frame::plainBucketOf(x ^ y, buckets);
}

TEST(Hash, BehavesAsAListOfNodesByBucketNewestFirst) {
  std::mt19937 random(11);
  for (const auto& [keyMode, buckets] : {std::pair{0, 1}, {0, 200}, {QRT_HASH_KEY_BY_REFERENCE, 7}}) {
    QrtHashTable* table = _qrt_hash_create(buckets, keyMode);
    std::deque<std::string> keys;     // what nodes by reference refer to; a node's value is its key's address
    std::vector<std::string*> nodes;  // newest first
    for (int round = 0; round < 1500; ++round) {
      std::string key(random() % 9, 'a');
      for (char& character : key) character = "ab\xFF"[random() % 3];
      const auto found = std::ranges::find(nodes, key, [](const std::string* node) { return *node; });
      const bool present = found != nodes.end();
      const auto length = static_cast<uint32_t>(key.size());
      ASSERT_EQ(_qrt_hash_find(table, key.data(), length), present ? *found : nullptr);
      if (random() % 2 == 0) {
        keys.push_back(key);
        nodes.insert(nodes.begin(), &keys.back());
        ASSERT_EQ(_qrt_hash_insert(table, keys.back().data(), length, &keys.back()), 0);
      } else if (random() % 2 == 0) {
        ASSERT_EQ(_qrt_hash_delete(table, key.data(), length), present ? 0 : -1);
        if (present) nodes.erase(found);
      }
    }
    std::ranges::stable_sort(nodes, {}, [&](const std::string* node) { return bucketOf(*node, buckets); });
    const auto count = static_cast<int32_t>(nodes.size());
    for (int32_t step = 0; step < 2 * count; ++step) {  // the whole walk, then jumps
      const int32_t index = step <= count ? step : static_cast<int32_t>(random() % (nodes.size() + 2)) - 1;
      ASSERT_EQ(_qrt_hash_next(table, index), index < 0 || index >= count ? nullptr : nodes[index]);
    }
    _qrt_hash_terminate(table);
  }
  for (const int32_t buckets : {0, -1, INT32_MAX}) EXPECT_EQ(_qrt_hash_create(buckets, 0), nullptr);
  EXPECT_EQ(_qrt_hash_next(nullptr, 0), nullptr);
}

TEST(Hash, BucketsInIntegersAreThoseByDefinition) {
  using namespace qrt::frame;
  std::mt19937 random(2);
  for (const int32_t buckets : {1, 2, 3, 32, 200, 256, 100000, 1 << 20, (1 << 29) - 5})
    for (int32_t count = 0; count < 500000; ++count) {
      const auto key = static_cast<uint32_t>(random() >> random() % 32);
      ASSERT_EQ(bucketOf(key, buckets), plainBucketOf(key, buckets)) << key << " " << buckets;
    }
}
