// De-editing, one picture position after the other.
#include "statement/deedit.h"

#include <algorithm>
#include <cstdlib>
#include <span>

#include "statement/edit.h"

namespace qrt::statement {
namespace {

constexpr bool isDigit(uint8_t byte) {
  return byte >= '0' && byte <= '9';
}

constexpr bool isSign(uint8_t byte) {
  return byte == '+' || byte == '-';
}

std::span<const uint8_t> pictureOf(const QrtNumDeeditPicture* record) {
  return {record->picture, static_cast<size_t>(std::abs(record->pictureLength))};
}

struct Result {
  uint8_t* out;
  uint8_t sign = 0;  // 0 while none was seen

  void put(uint8_t digit) { *out++ = digit; }

  // A second sign doesn't fit any picture.
  bool take(uint8_t seen) {
    if (sign != 0) return false;
    sign = seen;
    return true;
  }
};

// One "+" or "-" position; false when the byte doesn't fit it. The first position of a picture holds the
// symbol or nothing, later ones digits too.
bool signPosition(uint8_t position, bool first, uint8_t byte, Result& result) {
  if (isDigit(byte)) {
    if (position == '-' && result.sign == 0) result.sign = '+';
    if (first || result.sign == 0) return false;
    result.put(byte);
    return true;
  }
  if (byte == '-' || (byte == '+' && position == '+')) {
    if (!result.take(byte)) return false;
    if (!first) result.put('0');
    return true;
  }
  if (byte != ' ') return result.take('+');
  if (!first) result.put('0');
  return true;
}

// Reads the item at `source` into `result`, the sign last; false as soon as it doesn't fit.
bool deedit(std::span<const uint8_t> picture, const uint8_t* source, uint8_t* destination) {
  Result result{destination};
  int32_t floats = 0, currencies = 0;
  for (size_t at = 0; at < picture.size(); ++at) {
    const uint8_t position = picture[at];
    if (printsNothing(position)) continue;
    const uint8_t byte = *source++;
    switch (position) {
      case ' ':
      case '/':
      case '.':
      case '0':
        if (floats != 0 && isSign(byte) && std::ranges::any_of(picture.subspan(at), isSign))
          result.sign = byte;
        break;
      case ',':
        if (isSign(byte)) result.sign = byte;
        break;
      case '$':
        ++currencies;
        if (isDigit(byte))
          result.put(byte);
        else if (currencies > 1)
          result.put('0');
        break;
      case '9':
      case 'Z':
        result.put(byte == ' ' ? '0' : byte);
        break;
      case '*':
        result.put(byte == '*' ? '0' : byte);
        break;
      case '+':
      case '-':
        if (!signPosition(position, ++floats == 1, byte, result)) return false;
        break;
      default: {  // CR or DB
        if (++at == picture.size()) return false;
        const uint8_t second = *source++;
        if (byte == ' ' && second == ' ')
          result.sign = '+';
        else if (byte == position && second == picture[at])
          result.sign = '-';
        else
          return false;
      }
    }
  }
  result.put(result.sign != 0 ? result.sign : '+');
  return true;
}

}  // namespace

int32_t moveNumEditToNum(const QrtNumDeeditPicture* picture, const uint8_t* source, uint8_t* destination) {
  return deedit(pictureOf(picture), source, destination) ? 0 : 1;
}

int32_t moveNumEditToNum2(const QrtNumDeeditPicture* picture, const uint8_t* source, uint8_t* destination,
                          const QrtCurrency* currency) {
  const std::span<const uint8_t> positions = pictureOf(picture);
  const std::span<const uint8_t> string = currencyString(currency);
  const PictureExtent extent = measure(positions);
  if (extent.characters < positions.size()) return 1;
  const size_t itemLength = extent.bytes + string.size();
  const uint8_t* end = source + (itemLength > 0 ? itemLength - 1 : 0);
  const uint8_t* found = string.empty() ? end : std::search(source, end, string.begin(), string.end());

  uint8_t copy[longestEditedText + 1];
  if (found != end) {
    uint8_t* behind = std::copy(source, found, copy);
    *behind++ = '$';
    std::copy(found + string.size(), end, behind);
    source = copy;
  }
  return deedit(positions, source, destination) ? 0 : 1;
}

}  // namespace qrt::statement
