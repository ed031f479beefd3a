// Numeric editing: digits into an item whose PICTURE has suppression, insertion, floating or sign positions.
// The inner functions behind the _qrtcMoveNumToNumEdit entries, with their arguments (see qrtrlib.h).
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "qrtrlib.h"

namespace qrt::statement {

// Most bytes of edited text that the operations with a currency string take in.
inline constexpr size_t longestEditedText = 249;

// True for the picture characters that take no byte of the edited item.
constexpr bool printsNothing(uint8_t position) {
  return position == 'P' || position == 'V';
}

// True for the first character of "CR", "DB" and of whatever else takes two characters and two bytes.
constexpr bool isPair(uint8_t position) {
  return std::string_view("9Z*$+-0/ .,VP").find(static_cast<char>(position)) == std::string_view::npos;
}

// Of a picture, the longest part that prints no more than longestEditedText: its characters, and the bytes of
// the item that they stand for, a currency sign counting as one.
struct PictureExtent {
  size_t characters;
  size_t bytes;
};
PictureExtent measure(std::span<const uint8_t> picture);

// What a currency record holds; a negative length counts as 0.
std::span<const uint8_t> currencyString(const QrtCurrency* currency);

void moveNumToNumEdit(const QrtNumEditPicture* picture, const uint8_t* source, uint8_t* destination);
void moveNumToNumEdit2(const QrtNumEditPicture* picture, const uint8_t* source, uint8_t* destination,
                       const QrtCurrency* currency);

}  // namespace qrt::statement
