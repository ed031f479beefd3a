// A tree of losers over the current entries of up to 256 runs. A contender carries the first word in which
// its key differs from the winner that it lost to, so that most matches touch no key.
#pragma once

#include <emmintrin.h>
#include <stdint.h>

#include <algorithm>
#include <array>
#include <utility>

#include "sort/engine/entry.h"

namespace qrt::sort {

inline constexpr int32_t fanIn = 256;

// One run of a merge.
struct MergeNode {
  const uint8_t* cursor;  // the current entry
  const uint8_t* end;     // of the block
  bool isLast;            // no block follows
  int32_t run;

  const SortEntry* entry() const { return reinterpret_cast<const SortEntry*>(cursor); }

  // To the next entry. The one behind that is fetched ahead: with many runs in play nobody else sees it
  // coming.
  void moveOn() {
    const uint32_t size = entry()->size();
    cursor += size;
    for (uint32_t line = 0; line < 192; line += 64) __builtin_prefetch(cursor + size + line);
  }
};

// All keys in play are above the last winner. Of two keys the one that first differs from it in a later word
// is lower, else the one with the lower word there. So a contender is, from the top: a zero bit, 15 bits that
// fall as the number of that word rises, the word, and 16 bits for the node. Only where place and word are
// the same are the keys compared, behind that word. As the loser's first difference from the new winner
// follows from the match, contenders stay true all the way up.
//
// The upper 15 bits are such that the 64 bits are a normal, positive double, and doubles of that kind have
// the order of their bits: the machine's minimum and maximum of doubles play a match without a branch, which
// nothing could predict here.
using Contender = uint64_t;

inline constexpr uint32_t farthestDifference = 32735;  // words from there on are told apart by compares
inline constexpr uint32_t nearestPlace = 32751;
inline constexpr Contender usedUp = uint64_t{0x7FF0} << 48;

inline Contender contender(uint32_t differingWord, const uint32_t* key, uint32_t node) {
  const uint32_t place = nearestPlace - std::min(differingWord, farthestDifference);
  const uint32_t word = differingWord < farthestDifference ? key[differingWord] : 0;
  return uint64_t{place} << 48 | uint64_t{word} << 16 | node;
}

// For a key that follows `before` in its run.
inline Contender contenderBehind(const uint32_t* before, const uint32_t* key, uint32_t node) {
  uint32_t at = 0;
  while (key[at] == before[at]) ++at;
  return contender(at, key, node);
}

constexpr uint32_t nodeOf(Contender contender) {
  return contender & 0xFFFF;
}

// Slot 0 holds the winner, slots 1 to count - 1 the losers; the parent of slot i is i / 2, and node i enters
// below slot (count + i) / 2. Slots are kept as doubles, for the compiler takes other words of 64 bits apart.
struct LoserTree {
  int32_t count;
  double slots[fanIn];
  MergeNode nodes[fanIn];

  Contender winner() const { return __builtin_bit_cast(Contender, slots[0]); }
  MergeNode& winnerNode() { return nodes[nodeOf(winner())]; }

  // Plays all matches between the first entries of the nodes.
  void build() {
    std::array<Contender, 2 * fanIn> winners;
    for (int32_t node = 0; node < count; ++node)
      winners[count + node] = contender(0, nodes[node].entry()->keyWords(), static_cast<uint32_t>(node));
    for (int32_t slot = count - 1; slot > 0; --slot) {
      Contender winner = winners[2 * slot], loser = winners[2 * slot + 1];
      play(winner, loser);
      winners[slot] = winner;
      slots[slot] = __builtin_bit_cast(double, loser);
    }
    slots[0] = __builtin_bit_cast(double, winners[1]);
  }

  // The winner's run plays again, with its next entry or as `usedUp`.
  void replay(Contender next) {
    auto slot = (static_cast<uint32_t>(count) + nodeOf(winner())) / 2;
    __m128d carried = joined(next);
    for (; slot > 0; slot /= 2) {
      const __m128d other = _mm_load_sd(&slots[slot]);
      if (haveEqualCodes(carried, other)) [[unlikely]] {
        carried = _mm_set_sd(settleInSlot(_mm_cvtsd_f64(carried), slot));
        continue;
      }
      _mm_store_sd(&slots[slot], _mm_max_sd(carried, other));
      carried = _mm_min_sd(carried, other);
    }
    _mm_store_sd(&slots[0], carried);
  }

 private:
  // Put together in the register: a load of 64 bits would wait for the stores of both halves.
  static __m128d joined(Contender contender) {
    return _mm_castsi128_pd(_mm_unpacklo_epi32(_mm_cvtsi32_si128(static_cast<int32_t>(contender)),
                                               _mm_cvtsi32_si128(static_cast<int32_t>(contender >> 32))));
  }

  static bool haveEqualCodes(__m128d left, __m128d right) {
    const __m128i difference = _mm_srli_epi64(_mm_castpd_si128(_mm_xor_pd(left, right)), 16);
    return _mm_movemask_epi8(_mm_cmpeq_epi32(difference, _mm_setzero_si128())) == 0xFFFF;
  }

  [[gnu::noinline, gnu::cold]] double settleInSlot(double carried, uint32_t slot) {
    auto winner = __builtin_bit_cast(Contender, carried);
    auto loser = __builtin_bit_cast(Contender, slots[slot]);
    settle(winner, loser);
    slots[slot] = __builtin_bit_cast(double, loser);
    return __builtin_bit_cast(double, winner);
  }

  // A match between equal codes: the keys decide, and the loser gets its place against the winner.
  void settle(Contender& winner, Contender& loser) {
    if (winner >= usedUp) return;
    const uint32_t* const left = nodes[nodeOf(winner)].entry()->keyWords();
    const uint32_t* const right = nodes[nodeOf(loser)].entry()->keyWords();
    uint32_t at = nearestPlace - static_cast<uint32_t>(winner >> 48);
    while (left[at] == right[at]) ++at;
    if (left[at] > right[at]) {
      const Contender lost = contender(at, left, nodeOf(winner));
      winner = loser;
      loser = lost;
    } else {
      loser = contender(at, right, nodeOf(loser));
    }
  }

  void play(Contender& winner, Contender& loser) {
    if ((winner ^ loser) >> 16 == 0) {
      settle(winner, loser);
    } else if (loser < winner) {
      std::swap(winner, loser);
    }
  }
};

}  // namespace qrt::sort
