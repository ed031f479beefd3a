// A tree of losers over the current entries of up to 256 runs. Contenders carry the first word in which their
// key differs from the winner that they lost to, so that most matches touch no key.
#pragma once

#include <stdint.h>

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
};

// All keys in play are above the last winner. Where a key first differs from it, and the key's word there,
// are what `code` is made of: of two keys the one that differs later is lower, else the one with the lower
// word. Only where both are the same are the keys compared, behind that word; and as the loser's first
// difference from the new winner follows from the match, codes stay true all the way up.
struct Contender {
  uint64_t code;
  MergeNode* node;
};

inline constexpr uint64_t usedUp = UINT64_MAX;

constexpr uint64_t contenderCode(uint32_t differingWord, uint32_t word) {
  return uint64_t{INT32_MAX - differingWord} << 32 | word;
}

constexpr uint32_t differingWordOf(uint64_t code) {
  return INT32_MAX - static_cast<uint32_t>(code >> 32);
}

// The code of a key that follows `before` in a run.
inline uint64_t codeBehind(const uint32_t* before, const uint32_t* key) {
  uint32_t at = 0;
  while (key[at] == before[at]) ++at;
  return contenderCode(at, key[at]);
}

// A match between equal codes: true when `right` wins. The loser gets its code against the winner.
inline bool settleEqualCodes(Contender& left, Contender& right) {
  if (left.code == usedUp) return false;
  const uint32_t* const leftWords = left.node->entry()->keyWords();
  const uint32_t* const rightWords = right.node->entry()->keyWords();
  uint32_t at = differingWordOf(left.code) + 1;
  while (leftWords[at] == rightWords[at]) ++at;
  const bool rightWins = rightWords[at] < leftWords[at];
  if (rightWins) {
    left.code = contenderCode(at, leftWords[at]);
  } else {
    right.code = contenderCode(at, rightWords[at]);
  }
  return rightWins;
}

inline bool rightWins(Contender& left, Contender& right) {
  if (left.code != right.code) [[likely]]
    return right.code < left.code;
  return settleEqualCodes(left, right);
}

// Slot 0 holds the winner, slots 1 to count - 1 the losers; the parent of slot i is i / 2, and leaf i enters
// below slot (count + i) / 2.
struct LoserTree {
  int32_t count;
  Contender slots[fanIn];
  MergeNode nodes[fanIn];

  // Plays all matches between the first entries of the nodes.
  void build() {
    std::array<Contender, 2 * fanIn> winners;
    for (int32_t leaf = 0; leaf < count; ++leaf)
      winners[count + leaf] = {contenderCode(0, *nodes[leaf].entry()->keyWords()), &nodes[leaf]};
    for (int32_t slot = count - 1; slot > 0; --slot) {
      Contender winner = winners[2 * slot], loser = winners[2 * slot + 1];
      if (rightWins(winner, loser)) std::swap(winner, loser);
      winners[slot] = winner;
      slots[slot] = loser;
    }
    slots[0] = winners[1];
  }

  // The winner's run plays again with that code, of its next entry or `usedUp`.
  void replay(uint64_t code) {
    Contender carried = {code, slots[0].node};
    for (auto slot = static_cast<int32_t>(count + (carried.node - nodes)) / 2; slot > 0; slot /= 2)
      if (rightWins(carried, slots[slot])) std::swap(carried, slots[slot]);
    slots[0] = carried;
  }
};

}  // namespace qrt::sort
