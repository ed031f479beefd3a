// The hash table against a plain list of its nodes.
#include <math.h>
#include <qrtrlib.h>

#include <algorithm>
#include <memory>
#include <random>

namespace {

struct Node {
  std::string key;
  void* value;
};

// The bucket by the rule, byte by byte.
int32_t bucketOf(const std::string& key, int32_t buckets) {
  uint32_t x = 0, y = 0;
  const size_t words = key.size() / 4 * 4;
  for (size_t at = 0; at < words; ++at)
    x ^= static_cast<uint32_t>(static_cast<uint8_t>(key[at])) << (8 * (at % 4));
  for (size_t at = words; at < key.size(); ++at) y = y << 8 | static_cast<uint8_t>(key[at]);
  double whole;
  return static_cast<int32_t>(modf((x ^ y) * 0.6180339887, &whole) * buckets);
}

}  // namespace

TEST(Hash, BehavesAsAListOfNodesByBucketNewestFirst) {
  std::mt19937 random(11);
  for (const int32_t keyMode : {0, QRT_HASH_KEY_BY_REFERENCE}) {
    for (const int32_t buckets : {1, 7, 200}) {
      QrtHashTable* table = _qrt_hash_create(buckets, keyMode);
      std::vector<Node> nodes;                         // newest first
      std::vector<std::unique_ptr<std::string>> keys;  // what nodes by reference refer to
      for (int round = 0; round < 1500; ++round) {
        std::string key(random() % 9, 'a');
        for (char& character : key) character = "ab\xFF"[random() % 3];
        const auto found =
            std::find_if(nodes.begin(), nodes.end(), [&](const Node& node) { return node.key == key; });
        const auto length = static_cast<uint32_t>(key.size());
        if (random() % 3 == 0) {
          keys.push_back(std::make_unique<std::string>(key));
          void* value = keys.back().get();
          ASSERT_EQ(_qrt_hash_insert(table, keys.back()->data(), length, value), 0);
          nodes.insert(nodes.begin(), {key, value});
          ASSERT_EQ(_qrt_hash_find(table, key.data(), length), value);
        } else if (random() % 4 == 0) {
          ASSERT_EQ(_qrt_hash_delete(table, key.data(), length), found == nodes.end() ? -1 : 0);
          if (found != nodes.end()) nodes.erase(found);
        } else {
          ASSERT_EQ(_qrt_hash_find(table, key.data(), length), found == nodes.end() ? nullptr : found->value);
        }
      }
      std::stable_sort(nodes.begin(), nodes.end(), [&](const Node& left, const Node& right) {
        return bucketOf(left.key, buckets) < bucketOf(right.key, buckets);
      });
      const auto count = static_cast<int32_t>(nodes.size());
      for (int32_t index = 0; index < count; ++index)
        ASSERT_EQ(_qrt_hash_next(table, index), nodes[index].value);
      EXPECT_EQ(_qrt_hash_next(table, count), nullptr);
      for (int jump = 0; jump < 200; ++jump) {
        const auto index = static_cast<int32_t>(random() % (nodes.size() + 2)) - 1;
        ASSERT_EQ(_qrt_hash_next(table, index), index < 0 || index >= count ? nullptr : nodes[index].value);
      }
      _qrt_hash_terminate(table);
    }
  }
}

TEST(Hash, RefusesImpossibleCounts) {
  for (const int32_t buckets : {0, -1, INT32_MIN, INT32_MAX})
    EXPECT_EQ(_qrt_hash_create(buckets, 0), nullptr);
  EXPECT_EQ(_qrt_hash_next(nullptr, 0), nullptr);
  _qrt_hash_terminate(nullptr);
}
