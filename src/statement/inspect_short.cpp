// INSPECT of short items: where a phrase's operand stands is a word with a bit for each byte of the item, and
// the next match is the lowest bit of all the phrases' words.
#include "statement/inspect_short.h"

#include <emmintrin.h>

#include <cstring>

namespace qrt::statement {
namespace {

constexpr int32_t leastBytes = 4, mostBytes = 32, mostPhrases = 8;

// The four bytes of flags as one word.
uint32_t flagsOf(const QrtInspectOperand& operand) {
  uint32_t flags;
  memcpy(&flags, &operand, sizeof flags);
  return flags;
}

constexpr uint32_t asFlags(uint32_t itemFlags, uint32_t phraseFlags) {
  return itemFlags << 16 | phraseFlags << 24;
}

// One test for both ends, in unsigned arithmetic; neither is empty.
bool overlaps(const void* operand, uint32_t length, const QrtInspectOperand& item) {
  const auto fromItem = reinterpret_cast<uintptr_t>(operand) - reinterpret_cast<uintptr_t>(item.address);
  return fromItem + (length - 1) < static_cast<uint32_t>(item.length) + (length - 1);
}

[[gnu::always_inline]] inline bool isSimple(const QrtInspectPhrase& phrase, const QrtInspectOperand& item) {
  constexpr uint32_t unusual =
      asFlags(QRT_INSPECT_SIGNED | QRT_INSPECT_FIGURATIVE | QRT_INSPECT_HAS_AFTER,
              0xFF & ~(QRT_INSPECT_TALLYING | QRT_INSPECT_REPLACING | QRT_INSPECT_FIRST));
  const uint32_t flags = flagsOf(phrase.replacement);
  if (((flags & unusual) | (flagsOf(phrase.compared) & asFlags(QRT_INSPECT_SIGNED, 0))) != 0) return false;
  const auto length = static_cast<uint32_t>(phrase.compared.length);
  if (length - 1 >= mostBytes || overlaps(phrase.compared.address, length, item)) return false;
  const uint32_t kind = flags >> 30;
  if (kind == asFlags(0, QRT_INSPECT_TALLYING) >> 30)
    return !overlaps(phrase.replacement.address, sizeof(uint32_t), item);
  return kind == asFlags(0, QRT_INSPECT_REPLACING) >> 30 &&
         phrase.replacement.length == phrase.compared.length &&
         !overlaps(phrase.replacement.address, length, item);
}

// All bytes of an item, with zeros behind them.
struct ShortItem {
  __m128i low, high;
  uint32_t all;  // a bit for each byte

  ShortItem(const uint8_t* bytes, int32_t length) : all(~0u >> (mostBytes - length)) {
    const bool isLong = length >= 16;
    low = isLong ? _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes)) : loadUpTo16(bytes, length);
    high = isLong ? loadUpTo16(bytes + 16, length - 16) : _mm_setzero_si128();
  }

  // No load is wider than it must be: the item has often just been moved in, and one across the stores of
  // that would wait. Up to four bytes come with those in front of them.
  [[gnu::noinline]] static __m128i loadUpTo16(const uint8_t* bytes, int32_t length) {
    const auto last4As = [&](int32_t ofBytes) {
      return _mm_srl_epi64(_mm_loadu_si32(bytes + length - 4), _mm_cvtsi32_si128((ofBytes - length) * 8));
    };
    if (length <= 4) return last4As(4);
    if (length <= 8) return _mm_unpacklo_epi32(_mm_loadu_si32(bytes), last4As(8));
    if (length <= 12) return _mm_unpacklo_epi64(load8(bytes), last4As(12));
    return _mm_unpacklo_epi64(load8(bytes),
                              _mm_srl_epi64(load8(bytes + length - 8), _mm_cvtsi32_si128((16 - length) * 8)));
  }

  static __m128i load8(const uint8_t* bytes) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
  }

  uint32_t positionsOf(uint8_t byte) const {
    const __m128i wanted = _mm_set1_epi32(static_cast<int>(byte * 0x01010101u));
    const auto inLow = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(low, wanted)));
    const auto inHigh = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(high, wanted)));
    return (inLow | inHigh << 16) & all;
  }

  // Where both ends of an operand stand as they do in it.
  uint32_t positionsOf(const QrtInspectOperand& operand) const {
    const auto* const bytes = static_cast<const uint8_t*>(operand.address);
    const uint32_t first = positionsOf(bytes[0]), toLast = static_cast<uint32_t>(operand.length - 1);
    return toLast == 0 ? first : first & positionsOf(bytes[toLast]) >> toLast;
  }
};

void count(const QrtInspectPhrase& phrase, uint32_t matches) {
  uint32_t counter;
  memcpy(&counter, phrase.replacement.address, sizeof counter);
  counter += matches;
  memcpy(phrase.replacement.address, &counter, sizeof counter);
}

bool isTally(const QrtInspectPhrase& phrase) {
  return (phrase.replacement.phraseFlags & QRT_INSPECT_TALLYING) != 0;
}

void act(const QrtInspectPhrase& phrase, uint8_t* bytes) {
  if (isTally(phrase)) return count(phrase, 1);
  const auto* const source = static_cast<const uint8_t*>(phrase.replacement.address);
  const int32_t length = phrase.replacement.length;
  if (length > 2) {
    memcpy(bytes, source, static_cast<size_t>(length));
  } else {
    bytes[0] = source[0];
    bytes[length - 1] = source[length - 1];
  }
}

// One by one, without jumps that depend on the item: nobody can guess them.
uint32_t bitCount(uint32_t word) {
  word -= word >> 1 & 0x55555555;
  word = (word & 0x33333333) + (word >> 2 & 0x33333333);
  return ((word + (word >> 4)) & 0x0F0F0F0F) * 0x01010101 >> 24;
}

// Phrases that count bytes: one that stands further ahead takes the bytes that several want.
[[gnu::noinline]] void countBytes(const QrtInspectPhrase* group, const uint32_t* positions, int32_t size) {
  uint32_t taken = 0;
  for (int32_t at = 0; at < size; ++at) {
    count(group[at], bitCount(positions[at] & ~taken));
    taken |= positions[at];
  }
}

uint32_t anyOf(const uint32_t* positions, int32_t count) {
  uint32_t any = 0;
  for (int32_t at = 0; at < count; ++at) any |= positions[at];
  return any;
}

// Runs a group of phrases over the item; `positions` is used up.
[[gnu::noinline]] void scan(const QrtInspectPhrase* group, uint32_t* positions, int32_t count,
                            uint8_t* bytes) {
  for (uint32_t matches = anyOf(positions, count); matches != 0;) {
    const uint32_t bit = matches & -matches;
    uint8_t* const place = bytes + __builtin_ctz(matches);
    int32_t at = count - 1;
    for (int32_t ahead = count - 2; ahead >= 0; --ahead) at = (positions[ahead] & bit) != 0 ? ahead : at;
    const QrtInspectOperand& compared = group[at].compared;
    const auto size = static_cast<size_t>(compared.length);
    if (size <= 2 || memcmp(place, compared.address, size) == 0) {
      act(group[at], place);
      matches &= -(bit << (size - 1) << 1);  // what it took is passed
      if ((group[at].replacement.phraseFlags & QRT_INSPECT_FIRST) == 0) continue;
      positions[at] = 0;
    } else {
      positions[at] &= ~bit;
    }
    matches &= anyOf(positions, count);
  }
}

}  // namespace

[[gnu::always_inline]] inline bool inspectShortItem(const QrtInspectBlock& block) {
  const int32_t length = block.item.length, phraseCount = block.phraseCount;
  if (length < leastBytes || length > mostBytes || phraseCount < 1 || phraseCount > mostPhrases ||
      (block.item.itemFlags & (QRT_INSPECT_SIGNED | QRT_INSPECT_TWO_BYTES)) != 0)
    return false;
  const QrtInspectPhrase* const end = block.phrases + phraseCount;
  for (const QrtInspectPhrase* phrase = block.phrases; phrase != end; ++phrase)
    if (!isSimple(*phrase, block.item)) return false;

  auto* const bytes = static_cast<uint8_t*>(block.item.address);
  for (const QrtInspectPhrase *group = block.phrases, *next = group; next != end; group = next) {
    // A group ends where something else than a tally follows one.
    const ShortItem item(bytes, length);
    uint32_t positions[mostPhrases];
    int32_t size = 0, unlikeByteCounts = 0;
    do {
      positions[size++] = item.positionsOf(next->compared);
      unlikeByteCounts |=
          (next->replacement.phraseFlags ^ QRT_INSPECT_TALLYING) | (next->compared.length - 1);
      ++next;
    } while (next != end && (!isTally(next[-1]) || isTally(*next)));
    if (unlikeByteCounts == 0)
      countBytes(group, positions, size);
    else
      scan(group, positions, size, bytes);
  }
  return true;
}

}  // namespace qrt::statement
