// Moves of characters: alphanumeric and national editing, figurative constants, and the move of items of
// variable length that may overlap. The inner functions behind the entries of those names, with their
// arguments (see qrtrlib.h).
#pragma once

#include <cstdint>

#include "qrtrlib.h"

namespace qrt::statement {

void moveAlphaNumEdit(const QrtAlphaNumEditPicture* picture, const uint8_t* source, int32_t sourceLength,
                      uint8_t* destination);
void moveUnicodeEdit(const QrtUnicodeEditPicture* picture, const void* source, int32_t sourceLengthInBytes,
                     void* destination);
void moveFigConst(uint8_t* destination, int32_t length, const uint8_t* literal, int32_t literalLength);
void moveVarLenOverlap(uint8_t* target, int32_t targetLength, const uint8_t* source, int32_t sourceLength);

}  // namespace qrt::statement
