// Search for the delimiters of STRING and UNSTRING: sixteen bytes at a time for what may begin one, then each
// delimiter in full.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>

#include "qrtrlib.h"

namespace qrt::statement {

using Text = std::span<const uint8_t>;

// A length or a number of records; one below 0 is none.
inline uint32_t count(int32_t value) {
  return static_cast<uint32_t>(std::max(value, 0));
}

// Offset of the character that a pointer names, from 1; above any length for one outside of `size` bytes.
inline uint32_t offsetOf(int32_t pointer, uint32_t size, uint32_t width) {
  const uint32_t characters = static_cast<uint32_t>(pointer) - 1;  // far outside for a pointer below 1
  return characters <= size / width ? characters * width : UINT32_MAX;
}

// The delimiters of a statement, in the order in which they are tried. Those of no length are never found.
class DelimiterSearch {
 public:
  // `delimiters` must outlive the search. Bytes are the same when `table` maps them to the same, or without a
  // table when they are equal. `width` is the bytes of a character, 1 or 2.
  DelimiterSearch(std::span<const QrtUnstringDelimiter> delimiters, const uint8_t* table, uint32_t width)
      : delimiters_(delimiters),
        table_(table),
        characterStarts_(width == 2 ? 0x5555 : 0xFFFF),
        inVectors_(table == nullptr && delimiters.size() <= std::size(vectors_)) {
    for (const QrtUnstringDelimiter& delimiter : delimiters) {
      if (delimiter.length <= 0) continue;
      const uint8_t first = mapped(*delimiter.data);
      if (inVectors_)
        vectors_[vectorCount_++] = _mm_set1_epi8(static_cast<char>(first));
      else
        firstBytes_[first / 32] |= 1u << first % 32;
    }
  }

  struct Found {
    uint32_t at;                            // the text's size when there is none
    const QrtUnstringDelimiter* delimiter;  // null then
  };

  // The first delimiter at `from` or whole characters behind it.
  Found find(Text text, uint32_t from) const {
    const auto size = static_cast<uint32_t>(text.size());
    for (uint32_t block = from; block < size; block += blockSize) {
      const uint32_t left = std::min(size - block, blockSize);
      for (uint32_t candidates = mayBegin(text.data() + block, left) & characterStarts_; candidates != 0;
           candidates &= candidates - 1) {
        const uint32_t at = block + static_cast<uint32_t>(__builtin_ctz(candidates));
        for (const QrtUnstringDelimiter& delimiter : delimiters_)
          if (stands(delimiter, text.subspan(at))) return {at, &delimiter};
      }
    }
    return {size, nullptr};
  }

  // Whether `text` begins with the delimiter.
  bool stands(const QrtUnstringDelimiter& delimiter, Text text) const {
    const Text wanted = {delimiter.data, count(delimiter.length)};
    if (wanted.empty() || wanted.size() > text.size()) return false;
    if (mapped(text[0]) != mapped(wanted[0])) return false;
    if (wanted.size() == 1) return true;
    if (table_ == nullptr) return memcmp(text.data(), wanted.data(), wanted.size()) == 0;
    for (size_t at = 1; at < wanted.size(); ++at)
      if (table_[text[at]] != table_[wanted[at]]) return false;
    return true;
  }

 private:
  static constexpr uint32_t blockSize = sizeof(__m128i);

  uint8_t mapped(uint8_t byte) const { return table_ == nullptr ? byte : table_[byte]; }

  // Bit i tells whether byte i may begin a delimiter. `size` is at most that of a block.
  uint32_t mayBegin(const uint8_t* text, uint32_t size) const {
    if (!inVectors_) return bits(size, [&](uint32_t at) { return isFirstByte(mapped(text[at])); });
    if (size == blockSize) return equalsFirst(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text)));
    // A short rest is covered by two loads that overlap, so that nothing beyond it is touched.
    if (size >= 8) return equalsFirst<8>(load8(text), load8(text + size - 8), size);
    if (size >= 4) return equalsFirst<4>(load4(text), load4(text + size - 4), size);
    return bits(size, [&](uint32_t at) { return equalsFirst(_mm_cvtsi32_si128(text[at])) & 1; });
  }

  template <typename Test>
  static uint32_t bits(uint32_t size, Test test) {
    uint32_t result = 0;
    for (uint32_t at = 0; at < size; ++at) result |= static_cast<uint32_t>(test(at)) << at;
    return result;
  }

  static __m128i load8(const uint8_t* at) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)); }
  static __m128i load4(const uint8_t* at) { return _mm_loadu_si32(at); }

  bool isFirstByte(uint8_t byte) const { return (firstBytes_[byte / 32] >> byte % 32 & 1) != 0; }

  uint32_t equalsFirst(__m128i bytes) const {
    __m128i equal = _mm_setzero_si128();
    for (uint32_t at = 0; at < vectorCount_; ++at)
      equal = _mm_or_si128(equal, _mm_cmpeq_epi8(bytes, vectors_[at]));
    return static_cast<uint32_t>(_mm_movemask_epi8(equal));
  }

  // The same of a block's first and last `loaded` bytes.
  template <uint32_t loaded>
  uint32_t equalsFirst(__m128i first, __m128i last, uint32_t size) const {
    constexpr uint32_t mask = (1u << loaded) - 1;
    return (equalsFirst(first) & mask) | (equalsFirst(last) & mask) << (size - loaded);
  }

  const std::span<const QrtUnstringDelimiter> delimiters_;
  const uint8_t* const table_;
  const uint32_t characterStarts_;  // the bits of a block at which characters start
  // The first bytes, mapped: of a few delimiters one vector each, of many a set.
  const bool inVectors_;
  uint32_t vectorCount_ = 0;
  __m128i vectors_[4];
  uint32_t firstBytes_[8] = {};
};

}  // namespace qrt::statement
