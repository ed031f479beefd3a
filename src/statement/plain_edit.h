// The rules of numeric editing, position by position and as they are told: the oracle of the editor's tests.
#pragma once

#include <cstdlib>
#include <string>

#include "qrtrlib.h"

namespace qrt::statement {

// The text that editing the sign and digits at `source` gives.
inline std::string plainEdit(const QrtNumEditPicture& record, const uint8_t* source) {
  enum { none, firstToCome, behindFirst };
  const bool blankWhenZero = record.editKind >= 13;
  const int kind = blankWhenZero ? 256 - record.editKind : record.editKind;
  const char sourceSign = static_cast<char>(*source++);
  const bool printsSourceSign = kind == 2 || (kind >= 4 && kind <= 10 && kind != 7 && kind != 9);
  const bool printsMinusOnly = kind == 3 || kind == 7 || kind == 9 || kind == 11;
  const char sign = printsSourceSign ? sourceSign : printsMinusOnly && sourceSign != '+' ? '-' : ' ';
  const char point = record.decimalPoint == '.' ? '.' : ',', comma = point == '.' ? ',' : '.';
  const char currency = static_cast<char>(record.currency);

  bool significant = false, pastPoint = false, suppressing = false, placed = false;
  int floatSign = kind >= 6 && kind <= 9 ? firstToCome : none;
  int floatCurrency = kind >= 10 && kind <= 12 ? firstToCome : none;
  char fill = ' ';
  int digitSum = 0;
  std::string text;

  const auto floating = [&] { return floatSign != none || floatCurrency != none; };
  const auto put = [&](char character) { text += character; };
  const auto place = [&] {
    if (!text.empty()) text.back() = floatCurrency != none ? currency : sign;
  };
  const auto copyDigit = [&] {
    digitSum += *source - '0';
    put(static_cast<char>(*source++));
  };
  const auto floatingPosition = [&](int& state, char symbol) {
    if (state == none) {
      put(symbol);
    } else if (significant || placed) {
      copyDigit();
    } else if (state == firstToCome) {
      put(' ');
      state = behindFirst;
    } else if (*source == '0') {
      put(' ');
      ++source;
    } else {
      if (!text.empty()) text.back() = symbol;
      significant = true;
      copyDigit();
    }
  };

  const int length = std::abs(record.pictureLength);
  for (int at = 0; at < length; ++at) {
    const char position = static_cast<char>(record.picture[at]);
    switch (position) {
      case 'P':
        break;
      case 'V':
      case '.':
        if (!significant && floating()) {
          place();
          placed = true;
        }
        pastPoint = true;
        suppressing = false;
        if (position == '.') put(point);
        break;
      case '9':
        if (!significant && !pastPoint && floating()) place();
        significant = true;
        suppressing = false;
        copyDigit();
        break;
      case 'Z':
      case '*':
        if (position == '*') fill = '*';
        if (significant) {
          copyDigit();
        } else if (pastPoint) {
          significant = true;
          copyDigit();
        } else if (*source == '0') {
          suppressing = true;
          put(fill);
          ++source;
        } else {
          if (floating()) place();
          significant = true;
          suppressing = false;
          copyDigit();
        }
        break;
      case '$':
        floatingPosition(floatCurrency, currency);
        break;
      case '+':
      case '-':
        floatingPosition(floatSign, sign);
        break;
      case '0':
      case '/':
      case ' ':
        if (floatSign == firstToCome || floatCurrency == firstToCome) {
          put(position);
        } else if (significant || pastPoint || !floating()) {
          put(suppressing ? fill : position);
          if (!suppressing && position == '0') placed = true;
        } else {
          put(' ');
        }
        break;
      case ',':
        if (significant || placed)
          put(comma);
        else if (suppressing)
          put(fill);
        else if (floating())
          put(floatSign == firstToCome || floatCurrency == firstToCome ? comma : ' ');
        else
          put(comma);
        break;
      default:
        put(sign == '-' ? position : ' ');
        if (++at < length) put(sign == '-' ? static_cast<char>(record.picture[at]) : ' ');
    }
  }

  if (digitSum != 0) return text;
  if (blankWhenZero) return std::string(text.size(), ' ');
  if (record.pictureLength < 0)
    for (char& character : text) {
      if (kind < 8 && fill == '*')
        character = character == point ? point : '*';
      else
        character = ' ';
    }
  return text;
}

}  // namespace qrt::statement
