// Moves of characters: alphanumeric and national editing, figurative constants, and the move of items of
// variable length that may overlap. The inner functions behind the entries of those names, with their
// arguments (see qrtrlib.h).
#pragma once

#include <cstdint>
#include <span>

#include "qrtrlib.h"

namespace qrt::statement {

// Bytes that a length stands for whose sign is a mark of its own.
constexpr uint32_t magnitude(int32_t length) {
  return length < 0 ? 0u - static_cast<uint32_t>(length) : static_cast<uint32_t>(length);
}

// Fills `size` bytes with the `period` bytes that stand at its front, over and over.
void repeatFront(uint8_t* area, uint32_t size, uint32_t period);

// Moves bytes one by one from the left, as many as fit, to the left of the target, or to its right when
// targetLength is negative; the sizes are the absolute values. The part of the target that is left to pad.
std::span<uint8_t> moveJustified(uint8_t* target, int32_t targetLength, const uint8_t* source,
                                 int32_t sourceLength);

void moveAlphaNumEdit(const QrtAlphaNumEditPicture* picture, const uint8_t* source, int32_t sourceLength,
                      uint8_t* destination);
void moveUnicodeEdit(const QrtUnicodeEditPicture* picture, const void* source, int32_t sourceLengthInBytes,
                     void* destination);
void moveFigConst(uint8_t* destination, int32_t length, const uint8_t* literal, int32_t literalLength);
void moveVarLenOverlap(uint8_t* target, int32_t targetLength, const uint8_t* source, int32_t sourceLength);

}  // namespace qrt::statement
