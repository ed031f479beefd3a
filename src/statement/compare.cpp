// Comparison of text. Equal bytes map equally under any table, so blocks of bytes are compared as they are
// and only those that differ are looked up.
#include "statement/compare.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "statement/move.h"

namespace qrt::statement {
namespace {

template <uint32_t width>
__m128i load(const uint8_t* bytes) {
  if constexpr (width == 16) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  } else if constexpr (width == 8) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
  } else {
    int32_t word;
    memcpy(&word, bytes, sizeof word);
    return _mm_cvtsi32_si128(word);
  }
}

// A bit for each byte of two blocks that differs.
template <uint32_t width>
inline uint32_t differences(const uint8_t* first, const uint8_t* second) {
  const __m128i equal = _mm_cmpeq_epi8(load<width>(first), load<width>(second));
  return static_cast<uint32_t>(_mm_movemask_epi8(equal)) ^ 0xFFFF;
}

// The same for `width` to two times `width` bytes. The two blocks may overlap.
template <uint32_t width>
inline uint32_t differencesInTwo(const uint8_t* first, const uint8_t* second, uint32_t count) {
  const uint32_t rest = count - width;
  return differences<width>(first, second) | differences<width>(first + rest, second + rest) << rest;
}

constexpr uint32_t pieceSize = 32;

inline uint32_t differencesOfPiece(const uint8_t* first, const uint8_t* second, uint32_t count) {
  if (count >= 16) return differencesInTwo<16>(first, second, count);
  if (count >= 8) return differencesInTwo<8>(first, second, count);
  if (count >= 4) return differencesInTwo<4>(first, second, count);
  uint32_t differing = 0;
  for (uint32_t at = 0; at < count; ++at) differing |= (first[at] != second[at] ? 1u : 0u) << at;
  return differing;
}

// Apart from the guarded entry, in which its registers would be kept on the stack.
[[gnu::noinline]] int32_t orderOf(const uint8_t* first, const uint8_t* second, uint32_t size,
                                  const uint8_t* table) {
  for (;; first += pieceSize, second += pieceSize, size -= pieceSize) {
    uint32_t differing = differencesOfPiece(first, second, std::min(size, pieceSize));
    for (; differing != 0; differing &= differing - 1) {
      const int at = __builtin_ctz(differing);
      const uint8_t mine = table[first[at]], other = table[second[at]];
      if (mine != other) return mine < other ? -1 : 1;
    }
    if (size <= pieceSize) return 0;
  }
}

constexpr auto spaceTile = [] {
  std::array<uint8_t, 64> tile{};
  tile.fill(' ');
  return tile;
}();
constexpr Repeated spaces{spaceTile.data(), spaceTile.size()};

int32_t orderInTiles(const uint8_t* text, uint32_t size, Repeated other, const uint8_t* table) {
  for (; size > other.size; text += other.size, size -= other.size) {
    const int32_t order = orderThroughTable(text, other.bytes, other.size, table);
    if (order != 0) return order;
  }
  return orderThroughTable(text, other.bytes, size, table);
}

[[gnu::noinline]] int32_t orderToFigurative(const uint8_t* text, uint32_t size, Repeated figurative,
                                            const uint8_t* table) {
  if (figurative.size == 0) return 0;
  uint8_t tile[64];
  if (figurative.size >= size || figurative.size > sizeof tile / 2)
    return orderInTiles(text, size, figurative, table);
  const uint32_t whole = sizeof tile / figurative.size * figurative.size;
  memcpy(tile, figurative.bytes, figurative.size);
  repeatFront(tile, whole, figurative.size);
  return orderInTiles(text, size, {tile, whole}, table);
}

[[gnu::noinline]] int32_t orderOfUnequalSizes(const uint8_t* first, uint32_t firstSize, const uint8_t* second,
                                              uint32_t secondSize, const uint8_t* table) {
  const uint32_t common = std::min(firstSize, secondSize);
  const int32_t order = orderThroughTable(first, second, common, table);
  if (order != 0) return order;
  return firstSize > secondSize ? orderInTiles(first + common, firstSize - common, spaces, table)
                                : -orderInTiles(second + common, secondSize - common, spaces, table);
}

[[gnu::noinline]] int32_t compareUnlikeLengths(const uint8_t* op1, int32_t length1, const uint8_t* op2,
                                               int32_t length2, const uint8_t* table) {
  const uint32_t size1 = magnitude(length1), size2 = magnitude(length2);
  if ((length1 ^ length2) >= 0) return orderOfUnequalSizes(op1, size1, op2, size2, table);
  return length1 < 0 ? -orderToFigurative(op2, size2, {op1, size1}, table)
                     : orderToFigurative(op1, size1, {op2, size2}, table);
}

}  // namespace

int32_t orderThroughTable(const uint8_t* first, const uint8_t* second, uint32_t size, const uint8_t* table) {
  return orderOf(first, second, size, table);
}

[[gnu::always_inline]] inline int32_t compareCollated(const uint8_t* op1, int32_t length1, const uint8_t* op2,
                                                      int32_t length2, const uint8_t* table) {
  return length1 == length2 && length1 > 0 ? orderOf(op1, op2, static_cast<uint32_t>(length1), table)
                                           : compareUnlikeLengths(op1, length1, op2, length2, table);
}

int32_t compareWithFigurative(const uint8_t* op, int32_t length, const uint8_t* figurative,
                              int32_t figurativeLength) {
  if (figurativeLength < 1) return 0;
  for (int32_t block; length > 0; op += block, length -= block) {
    block = std::min(length, figurativeLength);
    const int order = memcmp(op, figurative, static_cast<uint32_t>(block));
    if (order != 0) return order < 0 ? -1 : 1;
  }
  return 0;
}

}  // namespace qrt::statement
