// Texts that need no care: bytes of printable ASCII without markup.
#pragma once

#include <emmintrin.h>
#include <stdint.h>

#include <algorithm>
#include <bit>
#include <string_view>

#include "frame/unaligned.h"

namespace qrt::xml {

// A bit for each byte of the block that is plain.
inline int plainBytes(__m128i block) {
  const auto equals = [](__m128i bytes, char character) {
    return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(character));
  };
  const __m128i apart = _mm_or_si128(
      _mm_or_si128(_mm_cmplt_epi8(block, _mm_set1_epi8(' ')), equals(block, 0x7F)), equals(block, '"'));
  const __m128i angle = equals(_mm_or_si128(block, _mm_set1_epi8(2)), '>');       // and "<"
  const __m128i ampersand = equals(_mm_or_si128(block, _mm_set1_epi8(1)), '\'');  // and "&"
  return ~_mm_movemask_epi8(_mm_or_si128(apart, _mm_or_si128(angle, ampersand))) & 0xFFFF;
}

constexpr bool isPlain(uint8_t byte) {
  return byte >= ' ' && byte < 0x7F &&
         std::string_view("<>&'\"").find(static_cast<char>(byte)) == std::string_view::npos;
}

// Whether all are. Texts of 4 bytes and more are taken as blocks that overlap.
inline bool isPlain(const uint8_t* text, int32_t length) {
  if (length >= 16) {
    int all = 0xFFFF;
    const auto take = [&](int32_t at) {
      all &= plainBytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at)));
    };
    for (int32_t at = 0; at + 16 <= length; at += 16) take(at);
    take(length - 16);
    return all == 0xFFFF;
  }
  if (length >= 8) {
    const auto half = [&](int32_t at) {
      return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text + at));
    };
    return plainBytes(_mm_unpacklo_epi64(half(0), half(length - 8))) == 0xFFFF;
  }
  if (length >= 4) {
    const auto word = [&](int32_t at) { return _mm_cvtsi32_si128(frame::loadAs<int32_t>(text + at)); };
    return (plainBytes(_mm_unpacklo_epi32(word(0), word(length - 4))) & 0xFF) == 0xFF;
  }
  for (int32_t at = 0; at < length; ++at)
    if (!isPlain(text[at])) return false;
  return true;
}

// ASCII as UTF-16.
inline void widen(const uint8_t* text, int32_t length, char16_t* to) {
  int32_t at = 0;
  for (; at + 8 <= length; at += 8)
    _mm_storeu_si128(
        reinterpret_cast<__m128i*>(to + at),
        _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(text + at)), __m128i{}));
  for (; at < length; ++at) to[at] = text[at];
}

// The length without trailing ASCII blanks, at least 1. Whole blocks are looked at from the end on.
inline int32_t lengthWithoutBlanks(const uint8_t* text, int32_t length) {
  const auto lastKept = [](__m128i block) {  // -1 without one
    const int others = ~_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(' '))) & 0xFFFF;
    return 31 - std::countl_zero(static_cast<uint32_t>(others));
  };
  for (; length >= 16; length -= 16) {
    const int32_t last = lastKept(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text + length - 16)));
    if (last >= 0) return length - 15 + last;
  }
  if (length >= 8) {
    const __m128i half = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text + length - 8));
    const int32_t last = lastKept(_mm_unpacklo_epi64(half, half));
    if (last >= 0) return length - 15 + last;
    length -= 8;
  }
  while (length > 1 && text[length - 1] == ' ') --length;
  return std::max(length, 1);
}

}  // namespace qrt::xml
