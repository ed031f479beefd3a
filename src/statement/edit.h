// Numeric editing: digits into an item whose PICTURE has suppression, insertion, floating or sign positions.
// The inner functions behind the _qrtcMoveNumToNumEdit entries, with their arguments (see qrtrlib.h).
#pragma once

#include <cstdint>
#include <span>

#include "qrtrlib.h"

namespace qrt::statement {

// Most bytes of edited text that the operations with a currency string take in.
inline constexpr int32_t longestEditedText = 249;

// True for the picture characters that take no byte of the edited item.
constexpr bool printsNothing(uint8_t pictureCharacter) {
  return pictureCharacter == 'P' || pictureCharacter == 'V';
}

// Bytes of the edited item that a picture describes, a currency sign counting as one.
int32_t printedLength(std::span<const uint8_t> picture);

// What a currency record holds; a negative length counts as 0.
std::span<const uint8_t> currencyString(const QrtCurrency* currency);

void moveNumToNumEdit(const QrtNumEditPicture* picture, const uint8_t* source, uint8_t* destination);
void moveNumToNumEdit2(const QrtNumEditPicture* picture, const uint8_t* source, uint8_t* destination,
                       const QrtCurrency* currency);

}  // namespace qrt::statement
