// What INSPECT does with stretches of an item, in SSE2.
#include "statement/inspect_bytes.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace qrt::statement {
namespace {

constexpr int32_t vectorBytes = 16;

__m128i load(const uint8_t* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

__m128i loadHalf(const uint8_t* bytes) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
}

void store(uint8_t* bytes, __m128i vector) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), vector);
}

__m128i all(uint8_t byte) {
  return _mm_set1_epi8(static_cast<char>(byte));
}

// Puts each byte's new value in its place; there is at least one vector of bytes. The last vector overlaps
// its neighbour and is taken before that changes.
template <typename Change>
void changeVectors(uint8_t* bytes, int32_t length, Change&& change) {
  const int32_t last = length - vectorBytes;
  const __m128i ending = change(load(bytes + last));
  for (int32_t at = 0; at < last; at += vectorBytes) store(bytes + at, change(load(bytes + at)));
  store(bytes + last, ending);
}

using Table = std::array<uint8_t, 256>;

constexpr Table identity = [] {
  Table table{};
  for (size_t byte = 0; byte < table.size(); ++byte) table[byte] = static_cast<uint8_t>(byte);
  return table;
}();

// Whether `from` and `to` are runs of neighbouring codes, as the alphabets of both cases are.
bool areRuns(InspectOperand from, const uint8_t* to) {
  if (from.address[0] + from.length > 256) return false;
  for (int32_t at = 1; at < from.length; ++at)
    if (from.address[at] != from.address[0] + at || to[at] != static_cast<uint8_t>(to[0] + at)) return false;
  return true;
}

// Moves the bytes from `lowest` to `lowest` + `span` by `distance`; there is at least one vector of bytes.
void shiftRun(uint8_t* bytes, int32_t length, uint8_t lowest, uint8_t span, uint8_t distance) {
  const __m128i base = all(lowest), top = all(span), shift = all(distance);
  changeVectors(bytes, length, [&](__m128i vector) {
    const __m128i above = _mm_sub_epi8(vector, base);
    const __m128i inRun = _mm_cmpeq_epi8(_mm_min_epu8(above, top), above);
    return _mm_add_epi8(vector, _mm_and_si128(inRun, shift));
  });
}

void convertByTable(uint8_t* bytes, int32_t count, InspectOperand from, const uint8_t* to, bool toFirst) {
  Table table = identity;
  for (int32_t place = from.length - 1; place >= 0; --place)
    table[from.address[place]] = to[toFirst ? 0 : place];
#pragma GCC unroll 8
  for (int32_t at = 0; at < count; ++at) bytes[at] = table[bytes[at]];
}

// The bytes at both ends of an operand, and how far they are apart.
struct Ends {
  uint8_t first, last;
  int32_t distance;
  __m128i firsts = all(first), lasts = all(last);

  // Bit n is set where both stand as they do in an operand at data[n].
  uint32_t in16(const uint8_t* data) const { return fits(load(data), load(data + distance)); }
  uint32_t in8(const uint8_t* data) const { return fits(loadHalf(data), loadHalf(data + distance)) & 0xFF; }
  bool at(const uint8_t* data) const { return data[0] == first && data[distance] == last; }

  uint32_t fits(__m128i one, __m128i other) const {
    const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(one, firsts), _mm_cmpeq_epi8(other, lasts));
    return static_cast<uint32_t>(_mm_movemask_epi8(both));
  }
};

// The next window from `first` on that has candidates, or the last one: that ends with `last` and overlaps
// what came before.
SearchWindow windowFrom(const uint8_t* data, int32_t first, int32_t last, const Ends& ends) {
  if (last >= 15) {
    for (;; first += 16) {
      const int32_t start = std::min(first, last - 15);
      const uint32_t candidates = ends.in16(data + start);
      if (candidates != 0 || start == last - 15) return {start, start + 16, candidates};
    }
  }
  if (last >= 7) {
    const int32_t start = std::min(first, last - 7);
    return {start, start + 8, ends.in8(data + start)};
  }
  uint32_t candidates = 0;
  for (int32_t at = last; at >= 0; --at) candidates = candidates << 1 | ends.at(data + at);
  return {0, last + 1, candidates};
}

// The next position from `position` on, by whole characters, that isn't below `least`.
template <int32_t width>
int32_t advance(int32_t position, int32_t least) {
  return least <= position ? position : position + (least - position + width - 1) / width * width;
}

}  // namespace

template <int32_t width>
int32_t findOperand(const uint8_t* data, int32_t first, int32_t last, const InspectOperand& wanted,
                    SearchWindow& window) {
  const uint8_t* const text = wanted.address;
  const int32_t toLastByte = wanted.length - 1;
  const auto innerBytesMatch = [&](int32_t at) {
    return toLastByte < 2 || memcmp(data + at + 1, text + 1, static_cast<size_t>(toLastByte - 1)) == 0;
  };
  const Ends ends{text[0], text[toLastByte], toLastByte};
  if (first < window.start) window = {};
  for (;;) {
    if (first < window.end) {
      uint32_t candidates = window.candidates & (width == 1 ? ~0u : 0x55555555u) << (first - window.start);
      for (; candidates != 0; candidates &= candidates - 1)
        if (const int32_t at = window.start + __builtin_ctz(candidates); innerBytesMatch(at)) return at;
      first = advance<width>(first, window.end);
    }
    if (first > last) return notFound;
    window = windowFrom(data, first, last, ends);
    first = advance<width>(first, window.start);
  }
}

template int32_t findOperand<1>(const uint8_t*, int32_t, int32_t, const InspectOperand&, SearchWindow&);
template int32_t findOperand<2>(const uint8_t*, int32_t, int32_t, const InspectOperand&, SearchWindow&);

uint32_t countByte(const uint8_t* bytes, int32_t length, uint8_t wanted) {
  uint32_t count = 0;
  int32_t at = 0;
  if (length >= vectorBytes) {
    const __m128i byte = all(wanted);
    __m128i sums = _mm_setzero_si128();
    do {
      // A lane counts 255 vectors before it must be emptied.
      const int32_t end = at + std::min((length - at) / vectorBytes, 255) * vectorBytes;
      __m128i lanes = _mm_setzero_si128();
#pragma GCC unroll 4
      for (; at < end; at += vectorBytes) lanes = _mm_sub_epi8(lanes, _mm_cmpeq_epi8(load(bytes + at), byte));
      sums = _mm_add_epi64(sums, _mm_sad_epu8(lanes, _mm_setzero_si128()));
    } while (length - at >= vectorBytes);
    count = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_add_epi64(sums, _mm_srli_si128(sums, 8))));
  }
  for (; at < length; ++at) count += bytes[at] == wanted;
  return count;
}

void replaceByte(uint8_t* bytes, int32_t length, uint8_t wanted, uint8_t replacement) {
  if (length < vectorBytes) {
    for (int32_t at = 0; at < length; ++at)
      if (bytes[at] == wanted) bytes[at] = replacement;
    return;
  }
  const __m128i byte = all(wanted), difference = all(wanted ^ replacement);
  changeVectors(bytes, length, [&](__m128i vector) {
    return _mm_xor_si128(vector, _mm_and_si128(_mm_cmpeq_epi8(vector, byte), difference));
  });
}

template <int32_t width>
void convertCharacters(uint8_t* characters, int32_t count, InspectOperand from, const uint8_t* to,
                       bool toFirst) {
  // Below this a search for each character costs less than a table of all.
  constexpr int32_t worthATable = 8;
  if (from.length < width) return;
  if constexpr (width == 1) {
    if (count >= vectorBytes && !toFirst && areRuns(from, to))
      return shiftRun(characters, count, from.address[0], static_cast<uint8_t>(from.length - 1),
                      static_cast<uint8_t>(to[0] - from.address[0]));
    if (count >= worthATable) return convertByTable(characters, count, from, to, toFirst);
  }
  for (uint8_t* character = characters; character < characters + count * width; character += width) {
    const int32_t place = findOperand<width>(from.address, 0, from.length - width, {character, width});
    if (place != notFound) memmove(character, to + (toFirst ? 0 : place), width);
  }
}

template void convertCharacters<1>(uint8_t*, int32_t, InspectOperand, const uint8_t*, bool);
template void convertCharacters<2>(uint8_t*, int32_t, InspectOperand, const uint8_t*, bool);

}  // namespace qrt::statement
