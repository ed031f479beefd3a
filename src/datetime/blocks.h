// Text in blocks of sixteen bytes, none of which reaches beyond the text.
#pragma once

#include <emmintrin.h>
#include <stdint.h>
#include <string.h>

#include <string_view>

namespace qrt::datetime {

inline constexpr size_t blockSize = 16;

inline __m128i loadBlock(const char* from) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

// All ones in the bytes of letters "a" to "z". They are moved to the upper end of the signed bytes, where one
// comparison tells them.
inline __m128i isLowerLetter(__m128i bytes) {
  constexpr char highest = 127, letters = 26;
  const __m128i moved = _mm_add_epi8(bytes, _mm_set1_epi8(highest - 'z'));
  return _mm_cmpgt_epi8(moved, _mm_set1_epi8(highest - letters));
}

// 1 to 15 bytes with zeros behind them, from loads that overlap.
inline __m128i loadShort(const char* from, size_t length) {
  const auto shift = [](size_t bytes) { return _mm_cvtsi32_si128(static_cast<int>(8 * bytes)); };
  if (length >= 8) {
    const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
    const __m128i high = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from + length - 8));
    return _mm_unpacklo_epi64(low, _mm_srl_epi64(high, shift(16 - length)));
  }
  if (length >= 4) {
    int32_t low, high;
    memcpy(&low, from, sizeof low);
    memcpy(&high, from + length - 4, sizeof high);
    return _mm_unpacklo_epi32(_mm_cvtsi32_si128(low),
                              _mm_srl_epi32(_mm_cvtsi32_si128(high), shift(8 - length)));
  }
  uint32_t bytes = 0;
  for (size_t at = length; at > 0; --at) bytes = bytes << 8 | static_cast<uint8_t>(from[at - 1]);
  return _mm_cvtsi32_si128(static_cast<int32_t>(bytes));
}

// Calls work(block, offset of the block) for the blocks of a text, each of which overlaps the one before, so
// that neighbours in the text are neighbours in a block. A text of less than a block is one with zeros behind
// it.
template <typename Work>
[[gnu::always_inline]] inline void forEachBlock(std::string_view text, Work&& work) {
  if (text.size() < blockSize) {
    if (!text.empty()) work(loadShort(text.data(), text.size()), 0);
    return;
  }
  const size_t last = text.size() - blockSize;
  for (size_t at = 0; at < last; at += blockSize - 1) work(loadBlock(text.data() + at), at);
  work(loadBlock(text.data() + last), last);
}

// Whether a text holds a zero byte or the other one.
[[gnu::always_inline]] inline bool holdsZeroOr(char other, std::string_view text) {
  uint32_t found = 0;
  forEachBlock(text, [&](__m128i bytes, size_t) {
    const __m128i same =
        _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_setzero_si128()), _mm_cmpeq_epi8(bytes, _mm_set1_epi8(other)));
    found |= static_cast<uint32_t>(_mm_movemask_epi8(same));
  });
  return (text.size() < blockSize ? found & ((1u << text.size()) - 1) : found) != 0;
}

}  // namespace qrt::datetime
