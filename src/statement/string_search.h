// Search for the delimiters of STRING and UNSTRING: sixteen bytes at a time for what may begin one, then each
// delimiter in full.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bitset>
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

// Whole characters in `bytes`; a division by a variable would take longer than all else.
inline uint32_t charactersIn(uint32_t bytes, uint32_t width) {
  return width == 2 ? bytes / 2 : bytes;
}

// Offset of the character that a pointer names, from 1; above any length for one outside of `size` bytes.
inline uint32_t offsetOf(int32_t pointer, uint32_t size, uint32_t width) {
  const uint32_t characters = static_cast<uint32_t>(pointer) - 1;  // far outside for a pointer below 1
  return characters <= charactersIn(size, width) ? characters * width : UINT32_MAX;
}

// The bytes of a block that pass a test, as bits: `test` tells it of 16 bytes at once. `size` is at most 16.
template <typename Test>
[[gnu::always_inline]] inline uint32_t passingBytes(const uint8_t* text, uint32_t size, Test test) {
  const auto eight = [](const uint8_t* at) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)); };
  const auto four = [](const uint8_t* at) { return _mm_loadu_si32(at); };
  if (size == sizeof(__m128i)) return test(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text)));
  // Of a shorter block the first and the last bytes, which may overlap, so that nothing beyond it is touched.
  if (size >= 8) {
    const uint32_t ends = test(_mm_unpacklo_epi64(eight(text), eight(text + size - 8)));
    return (ends & 0xFF) | (ends >> 8) << (size - 8);
  }
  if (size >= 4) {
    const uint32_t ends = test(_mm_unpacklo_epi32(four(text), four(text + size - 4)));
    return (ends & 0xF) | (ends >> 4 & 0xF) << (size - 4);
  }
  uint32_t passing = 0;
  for (uint32_t at = 0; at < size; ++at) passing |= (test(_mm_cvtsi32_si128(text[at])) & 1) << at;
  return passing;
}

// The delimiters of a statement, in the order in which they are tried. Those of no length are never found.
class DelimiterSearch {
 public:
  // `delimiters` must outlive the search. Bytes are the same when `table` maps them to the same, or without a
  // table when they are equal. `width` is the bytes of a character, 1 or 2.
  DelimiterSearch(std::span<const QrtUnstringDelimiter> delimiters, const uint8_t* table, uint32_t width)
      : delimiters_(delimiters), table_(table), characterStarts_(width == 2 ? 0x5555 : 0xFFFF) {
    if (table == nullptr && delimiters.size() <= std::size(vectors_)) {
      for (const QrtUnstringDelimiter& delimiter : delimiters)
        if (delimiter.length > 0)
          vectors_[vectorCount_++] = _mm_set1_epi8(static_cast<char>(*delimiter.data));
      kind_ = delimiters.size() == 1 && delimiters[0].length == 1 ? Kind::oneByte : Kind::few;
    } else {
      for (const QrtUnstringDelimiter& delimiter : delimiters)
        if (delimiter.length > 0) firstBytes_.set(mapped(*delimiter.data));
      kind_ = Kind::any;
    }
  }

  struct Found {
    uint32_t at;                            // the text's size when there is none
    const QrtUnstringDelimiter* delimiter;  // null then
  };

  // The first delimiter at `from` or whole characters behind it.
  Found find(Text text, uint32_t from) const {
    if (kind_ != Kind::oneByte) return findAny(text, from);
    const auto size = static_cast<uint32_t>(text.size());
    for (uint32_t block = from; block < size; block += blockSize) {
      const uint32_t found =
          passingBytes(text.data() + block, std::min(size - block, blockSize),
                       [&](__m128i bytes) {
                         return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, vectors_[0])));
                       }) &
          characterStarts_;
      if (found != 0) return {block + static_cast<uint32_t>(__builtin_ctz(found)), delimiters_.data()};
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

  [[gnu::noinline]] Found findAny(Text text, uint32_t from) const {
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

  // The bytes of a block at which a delimiter may begin, as bits.
  uint32_t mayBegin(const uint8_t* text, uint32_t size) const {
    if (kind_ == Kind::few)
      return passingBytes(text, size, [&](__m128i bytes) {
        __m128i equal = _mm_setzero_si128();
        for (uint32_t at = 0; at < vectorCount_; ++at)
          equal = _mm_or_si128(equal, _mm_cmpeq_epi8(bytes, vectors_[at]));
        return static_cast<uint32_t>(_mm_movemask_epi8(equal));
      });
    uint32_t beginning = 0;
    for (uint32_t at = 0; at < size; ++at)
      beginning |= static_cast<uint32_t>(firstBytes_[mapped(text[at])]) << at;
    return beginning;
  }

  enum class Kind : uint8_t {
    oneByte,  // one delimiter of one byte: its first byte is all of it
    few,      // first bytes in vectors
    any,      // first bytes, mapped, in a set
  };

  const std::span<const QrtUnstringDelimiter> delimiters_;
  const uint8_t* const table_;
  const uint32_t characterStarts_;  // the bits of a block at which characters start
  Kind kind_;
  uint32_t vectorCount_ = 0;
  __m128i vectors_[4];
  std::bitset<256> firstBytes_;
};

}  // namespace qrt::statement
