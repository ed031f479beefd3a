// What INSPECT does with stretches of an item, sixteen bytes at a time: searches, counts, replacements and
// conversions. Nothing outside the stretches is read or written.
#pragma once

#include <cstdint>

namespace qrt::statement {

// An operand as the statement sees it.
struct InspectOperand {
  uint8_t* address;
  int32_t length;  // bytes, at least 0
};

inline constexpr int32_t notFound = -1;

// What a search saw of the positions from `start` to before `end`: bit n is set where an operand may stand at
// `start` + n.
struct SearchWindow {
  int32_t start = 0, end = 0;
  uint32_t candidates = 0;
};

// Position of the first `wanted`, of at least one byte, that starts at `first`, `first` + width... up to
// `last`; notFound when there is none. All bytes from data[0] to the end of one that starts at `last` are
// there. `window` is empty for the first search, and serves the next ones with other values of `first` only,
// in rising order, as long as no byte behind their `first` has changed.
template <int32_t width>
int32_t findOperand(const uint8_t* data, int32_t first, int32_t last, const InspectOperand& wanted,
                    SearchWindow& window);

template <int32_t width>
int32_t findOperand(const uint8_t* data, int32_t first, int32_t last, const InspectOperand& wanted) {
  SearchWindow window;
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
