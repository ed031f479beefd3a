// Copies of entries, many and short.
#pragma once

#include <emmintrin.h>
#include <stdint.h>

namespace qrt::sort {

// What a buffer needs behind its end where entries are copied from or to.
inline constexpr uint32_t copySlack = 15;

// Copies in steps of 16 bytes: up to `copySlack` bytes behind the entry are read and written too.
inline void copyWithSlack(uint8_t* target, const uint8_t* source, uint32_t bytes) {
  for (uint32_t at = 0; at < bytes; at += 16) {
    const __m128i piece = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + at));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target + at), piece);
  }
}

}  // namespace qrt::sort
