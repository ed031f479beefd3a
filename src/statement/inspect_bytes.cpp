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

// By way of a word: a byte would go through memory, and its load as a word waits for the store.
__m128i all(uint8_t byte) {
  return _mm_set1_epi32(static_cast<int>(byte * 0x01010101u));
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

// A vector loaded at n has its last n bytes set.
constexpr std::array<uint8_t, 2 * vectorBytes> lastBytesOnly = [] {
  std::array<uint8_t, 2 * vectorBytes> bytes{};
  std::fill(bytes.begin() + vectorBytes, bytes.end(), uint8_t{0xFF});
  return bytes;
}();

// The bytes at both ends of an operand, and how far they are apart.
struct Ends {
  uint8_t first, last;
  int32_t distance;
  __m128i firsts = all(first), lasts = all(last);

  // Bit n is set where both stand as they do in the operand at data[n].
  uint32_t in16(const uint8_t* data) const { return fits(load(data), load(data + distance)); }
  uint32_t in8(const uint8_t* data) const { return fits(loadHalf(data), loadHalf(data + distance)) & 0xFF; }
  uint32_t in1(const uint8_t* data) const { return data[0] == first && data[distance] == last; }

  uint32_t fits(__m128i one, __m128i other) const {
    const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(one, firsts), _mm_cmpeq_epi8(other, lasts));
    return static_cast<uint32_t>(_mm_movemask_epi8(both));
  }
};

}  // namespace

void moveWindow(SearchWindow& window, const uint8_t* data, int32_t first, int32_t last,
                const InspectOperand& wanted) {
  const Ends ends{wanted.address[0], wanted.address[wanted.length - 1], wanted.length - 1};
  // Two vectors make a window. Where fewer positions are left it starts earlier, and in a short item the two
  // overlap.
  if (last >= 31) {
    for (;; first += 32) {
      const int32_t start = std::min(first, last - 31);
      const uint32_t candidates = ends.in16(data + start) | ends.in16(data + start + 16) << 16;
      if (candidates == 0 && start != last - 31) continue;
      window.start = start;
      window.end = start + 32;
      window.candidates = candidates;
      return;
    }
  }
  uint32_t candidates = 0;
  if (last >= 15)
    candidates = ends.in16(data) | ends.in16(data + last - 15) << (last - 15);
  else if (last >= 7)
    candidates = ends.in8(data) | ends.in8(data + last - 7) << (last - 7);
  else
    for (int32_t at = 0; at <= last; ++at) candidates |= ends.in1(data + at) << at;
  window.start = 0;
  window.end = last + 1;
  window.candidates = candidates;
}

uint32_t countByte(const uint8_t* bytes, int32_t length, uint8_t wanted) {
  if (length < vectorBytes) {
    uint32_t count = 0;
    for (int32_t at = 0; at < length; ++at) count += bytes[at] == wanted;
    return count;
  }
  const __m128i byte = all(wanted), none = _mm_setzero_si128();
  // The rest behind whole vectors are the last bytes of one that overlaps them.
  const __m128i restOnly = load(lastBytesOnly.data() + length % vectorBytes);
  const __m128i rest = _mm_cmpeq_epi8(load(bytes + length - vectorBytes), byte);
  __m128i sums = _mm_sad_epu8(_mm_sub_epi8(none, _mm_and_si128(rest, restOnly)), none);
  for (int32_t at = 0, end; length - at >= vectorBytes;) {
    // A lane counts 255 vectors before it must be emptied.
    end = at + std::min((length - at) / vectorBytes, 255) * vectorBytes;
    __m128i lanes = none;
#pragma GCC unroll 4
    for (; at < end; at += vectorBytes) lanes = _mm_sub_epi8(lanes, _mm_cmpeq_epi8(load(bytes + at), byte));
    sums = _mm_add_epi64(sums, _mm_sad_epu8(lanes, none));
  }
  return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_add_epi64(sums, _mm_srli_si128(sums, 8))));
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
