// What INSPECT does with stretches of an item, sixteen bytes at a time: searches, counts, replacements and
// conversions. Nothing outside the stretches is read or written.
#pragma once

#include <cstdint>
#include <cstring>

namespace qrt::statement {

// An operand as the statement sees it.
struct InspectOperand {
  uint8_t* address;
  int32_t length;  // bytes, at least 0
};

inline constexpr int32_t notFound = -1;

// What a search saw of the positions from `start` to before `end`: bit n is set where both ends of the
// operand stand as they do in it at `start` + n.
struct SearchWindow {
  int32_t start, end;
  uint32_t candidates;
};

// Moves the window to the next place from `first` on that has candidates, or the last one, that ends with
// `last`.
void moveWindow(SearchWindow& window, const uint8_t* data, int32_t first, int32_t last,
                const InspectOperand& wanted);

// The next position from `position` on, by whole characters, that isn't below `least`.
template <int32_t width>
constexpr int32_t advance(int32_t position, int32_t least) {
  return least <= position ? position : position + (least - position + width - 1) / width * width;
}

// Position of the first `wanted`, of at least one byte, that starts at `first`, `first` + width... up to
// `last`; notFound when there is none. All bytes from data[0] to the end of one that starts at `last` are
// there. `window` is empty for the first search, and serves the next ones with other values of `first` as
// long as no byte behind their `first` has changed.
template <int32_t width>
inline int32_t findOperand(const uint8_t* data, int32_t first, int32_t last, const InspectOperand& wanted,
                           SearchWindow& window) {
  if (first < window.start) window = {};
  for (;;) {
    if (first < window.end) {
      uint32_t candidates = window.candidates & (width == 1 ? ~0u : 0x55555555u) << (first - window.start);
      for (; candidates != 0; candidates &= candidates - 1) {
        const int32_t at = window.start + __builtin_ctz(candidates);
        if (wanted.length <= 2 || memcmp(data + at + 1, wanted.address + 1, wanted.length - 2u) == 0)
          return at;
      }
      first = advance<width>(first, window.end);
    }
    if (first > last) return notFound;
    moveWindow(window, data, first, last, wanted);
    first = advance<width>(first, window.start);
  }
}

template <int32_t width>
int32_t findOperand(const uint8_t* data, int32_t first, int32_t last, const InspectOperand& wanted) {
  SearchWindow window{};
  return findOperand<width>(data, first, last, wanted, window);
}

uint32_t countByte(const uint8_t* bytes, int32_t length, uint8_t wanted);

void replaceByte(uint8_t* bytes, int32_t length, uint8_t wanted, uint8_t replacement);

// Turns each of `count` characters that stands in `from` into the character at its place in `to`, or into the
// first of `to` when `toFirst` is set. The first place counts, and whole characters of `from` only. `from`
// and `to` overlap the characters only where `count` is 1.
template <int32_t width>
void convertCharacters(uint8_t* characters, int32_t count, InspectOperand from, const uint8_t* to,
                       bool toFirst);

}  // namespace qrt::statement
