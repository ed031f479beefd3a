// The hash by which names are put into buckets, and the table of them that the library shares with its
// callers by address: here for those that look names up on every call.
#pragma once

#include <stdint.h>
#include <string.h>

#include <bit>

#include "qrtrlib.h"

struct QrtHashTable {
  // Behind it lies the key's address, or the key itself.
  struct Node {
    Node* next;
    void* value;
    uint32_t keyLength;
  };

  int32_t bucketCount;
  int32_t keyMode;
  int32_t iterationIndex;
  int32_t iterationBucket;
  Node* iterationNode;

  Node** buckets() { return reinterpret_cast<Node**>(this + 1); }

  const void* keyOf(const Node* node) const {
    const void* tail = node + 1;
    return keyMode == QRT_HASH_KEY_BY_REFERENCE ? *static_cast<const void* const*>(tail) : tail;
  }
};

namespace qrt::frame {

inline uint32_t wordAt(const void* key, uint32_t at) {
  uint32_t word;
  memcpy(&word, static_cast<const uint8_t*>(key) + at, sizeof(word));
  return word;
}

// The words of a key exclusive-ored, and into them the bytes that are left, the first one highest.
inline uint32_t foldedKey(const void* key, uint32_t length) {
  constexpr uint32_t size = sizeof(uint32_t);
  uint32_t folded = 0, at = 0;
  for (; at + size <= length; at += size) folded ^= wordAt(key, at);
  if (at > 0) {
    // They are the last ones of a word that reaches back into what was folded already.
    const uint32_t rest = 8 * (length - at);
    return folded ^ (__builtin_bswap32(wordAt(key, length - size)) & ((1u << rest) - 1));
  }
  for (; at < length; ++at) folded = (folded << 8) + static_cast<const uint8_t*>(key)[at];
  return folded;
}

// Whether two keys of one length are the same. Keys are short: a call would take longer.
inline bool sameKeys(const void* left, const void* right, uint32_t length) {
  constexpr uint32_t size = sizeof(uint32_t);
  if (length < size) return length == 0 || memcmp(left, right, length) == 0;
  uint32_t difference = wordAt(left, length - size) ^ wordAt(right, length - size);
  for (uint32_t at = 0; at + size <= length; at += size) difference |= wordAt(left, at) ^ wordAt(right, at);
  return difference == 0;
}

inline constexpr double goldenSection = 0.6180339887;

// The bucket, counted from 0, of a folded key among `buckets` of them, by its definition.
inline int32_t plainBucketOf(uint32_t folded, int32_t buckets) {
  const double product = folded * goldenSection;
  const double fraction = product - static_cast<double>(static_cast<uint32_t>(product));
  return static_cast<int32_t>(fraction * buckets);
}

// The same in integers, on the way to every look-up. The product has its point behind bit 53; 32 bits of
// its fraction decide, unless they lie so near to the border of a bucket that the rounding of the product to
// a double, by less than 2 ** -21, could carry it over.
inline int32_t bucketOf(uint32_t folded, int32_t buckets) {
  constexpr uint64_t mantissa = std::bit_cast<uint64_t>(goldenSection) << 12 >> 12 | uint64_t{1} << 52;
  static_assert(goldenSection >= 0.5 && goldenSection < 1);
  constexpr uint32_t farthest = 1 << 11;
  const auto fraction = static_cast<uint32_t>(folded * mantissa >> 21);
  const uint64_t scaled = uint64_t{fraction} * static_cast<uint32_t>(buckets);
  const uint64_t doubt = uint64_t{farthest} * static_cast<uint32_t>(buckets);
  const auto behindBorder = static_cast<uint32_t>(scaled);
  if (behindBorder < doubt || behindBorder > UINT32_MAX - doubt) return plainBucketOf(folded, buckets);
  return static_cast<int32_t>(scaled >> 32);
}

// The pointer that points to the newest node of the key, or to the null at the end of its chain.
inline QrtHashTable::Node** findLink(QrtHashTable* table, const void* key, uint32_t length) {
  QrtHashTable::Node** link = &table->buckets()[bucketOf(foldedKey(key, length), table->bucketCount)];
  while (*link != nullptr && ((*link)->keyLength != length || !sameKeys(table->keyOf(*link), key, length)))
    link = &(*link)->next;
  return link;
}

}  // namespace qrt::frame
