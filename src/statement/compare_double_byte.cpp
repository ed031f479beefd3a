// Double-byte text is compared as the C library's strings, so both sides are copied, padded and terminated.
#include "statement/compare_double_byte.h"

#include <algorithm>
#include <cstring>

#include "nls/code_pages.h"
#include "nls/work_area.h"
#include "statement/compare.h"
#include "statement/move.h"

namespace qrt::statement {
namespace {

constexpr uint8_t hostDoubleByteSpace[] = {0x40, 0x40};
constexpr uint8_t collationPad[] = {0x81, 0x40};

uint32_t sizeOf(int32_t length) {
  return static_cast<uint32_t>(std::max(length, 0));
}

void fill(uint8_t* area, uint32_t size, Repeated text) {
  const uint32_t front = std::min(size, text.size);
  memcpy(area, text.bytes, front);
  repeatFront(area, size, front);
}

// One side of a comparison by the locale: a text, and what follows it up to the other's size.
struct Side {
  const uint8_t* text;
  uint32_t size;
  Repeated rest;
};

// Writes a side as a string of `size` bytes, and its end.
void writeString(uint8_t* area, uint32_t size, const Side& side) {
  memcpy(area, side.text, side.size);
  fill(area + side.size, size - side.size, side.rest);
  area[size] = '\0';
}

// Compares both sides as strings of `size` bytes. They share a work area, so that memory is asked for once.
int32_t collate(uint32_t size, const Side& first, const Side& second) {
  const uint64_t areaSize = 2 * (uint64_t{size} + 1);
  nls::WorkArea<512> area(static_cast<int32_t>(std::min(areaSize, uint64_t{INT32_MAX})));
  if (area.data() == nullptr) return 0;
  uint8_t* const other = area.data() + size + 1;
  writeString(area.data(), size, first);
  writeString(other, size, second);
  return strcoll(area.as<char>(), reinterpret_cast<const char*>(other));
}

}  // namespace

int32_t compareDoubleByte(const uint8_t* op1, int32_t length1, const uint8_t* op2, int32_t length2) {
  constexpr Repeated pad{collationPad, sizeof collationPad};
  const uint32_t size1 = sizeOf(length1), size2 = sizeOf(length2);
  return collate(std::max(size1, size2), {op1, size1, pad}, {op2, size2, pad});
}

int32_t compareDoubleByteWithFigurative(const uint8_t* op, int32_t length, const uint8_t* figurative,
                                        int32_t figurativeLength) {
  if (figurativeLength < 1) return 0;
  const Repeated literal{figurative, sizeOf(figurativeLength)};
  return collate(sizeOf(length), {op, sizeOf(length), literal}, {figurative, 0, literal});
}

void moveDoubleByteVarLenOverlap(uint8_t* target, int32_t targetLength, const uint8_t* source,
                                 int32_t sourceLength) {
  const std::span<uint8_t> rest = moveJustified(target, targetLength, source, sourceLength);
  const uint8_t* const space = sourceLength < 0 ? hostDoubleByteSpace : nls::doubleByteSpace();
  fill(rest.data(), static_cast<uint32_t>(rest.size()), {space, sizeof hostDoubleByteSpace});
}

}  // namespace qrt::statement
