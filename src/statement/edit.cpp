// Numeric editing in two phases. Up to the first significant digit every position depends on what came before
// it: suppression, fill and the floating symbol. From there on a position prints the same whatever its
// neighbours are, and a plain loop does the rest.
#include "statement/edit.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace qrt::statement {
namespace {

enum class SignForm : uint8_t { space, source, blankOrMinus };
enum class Floats : uint8_t { nothing, sign, currency };

struct EditKind {
  SignForm sign;
  Floats floats;
};

constexpr EditKind editKinds[] = {
    {SignForm::space, Floats::nothing},          // 0
    {SignForm::space, Floats::nothing},          // 1
    {SignForm::source, Floats::nothing},         // 2
    {SignForm::blankOrMinus, Floats::nothing},   // 3
    {SignForm::source, Floats::nothing},         // 4
    {SignForm::source, Floats::nothing},         // 5
    {SignForm::source, Floats::sign},            // 6
    {SignForm::blankOrMinus, Floats::sign},      // 7
    {SignForm::source, Floats::sign},            // 8
    {SignForm::blankOrMinus, Floats::sign},      // 9
    {SignForm::source, Floats::currency},        // 10
    {SignForm::blankOrMinus, Floats::currency},  // 11
    {SignForm::space, Floats::currency},         // 12
};
constexpr uint8_t lastKind = 12;
constexpr uint8_t firstKindOfBlanks = 8;  // from here on the zero rule gives spaces, asterisks or not

// What a picture character asks for once a significant digit was printed.
namespace Position {
enum : uint8_t { digit, zero, slash, space, point, comma, currency, sign, nothing, pair };
}

constexpr std::array<uint8_t, 256> positionOf = [] {
  std::array<uint8_t, 256> table;
  table.fill(Position::pair);
  for (const uint8_t character : {'9', 'Z', '*'}) table[character] = Position::digit;
  for (const uint8_t character : {'P', 'V'}) table[character] = Position::nothing;
  for (const uint8_t character : {'+', '-'}) table[character] = Position::sign;
  table['0'] = Position::zero;
  table['/'] = Position::slash;
  table[' '] = Position::space;
  table['.'] = Position::point;
  table[','] = Position::comma;
  table['$'] = Position::currency;
  return table;
}();

// A picture and what its positions print.
struct Layout {
  const uint8_t* picture;
  const uint8_t* pictureEnd;
  uint8_t kind;
  bool blankWhenZero;
  bool zeroRule;
  Floats floats;
  uint8_t point, comma, currency, sign;
  uint8_t glyphs[Position::nothing];  // what each kind of position prints, 0 standing for the next digit
};

struct Cursor {
  const uint8_t* picture;
  const uint8_t* source;
  uint8_t* out;
};

uint8_t signCharacter(SignForm form, uint8_t sourceSign) {
  if (form == SignForm::space) return ' ';
  if (form == SignForm::source) return sourceSign;
  return sourceSign == '+' ? ' ' : '-';
}

Layout layoutOf(const QrtNumEditPicture& record, uint8_t sourceSign) {
  const bool blankWhenZero = record.editKind > lastKind;
  const auto kind = static_cast<uint8_t>(blankWhenZero ? -record.editKind : record.editKind);
  const EditKind rules = editKinds[kind <= lastKind ? kind : 0];
  const bool swapped = record.decimalPoint != '.';
  Layout layout{.picture = record.picture,
                .pictureEnd = record.picture + std::abs(record.pictureLength),
                .kind = kind,
                .blankWhenZero = blankWhenZero,
                .zeroRule = record.pictureLength < 0,
                .floats = rules.floats,
                .point = static_cast<uint8_t>(swapped ? ',' : '.'),
                .comma = static_cast<uint8_t>(swapped ? '.' : ','),
                .currency = record.currency,
                .sign = signCharacter(rules.sign, sourceSign),
                .glyphs = {0, '0', '/', ' '}};
  layout.glyphs[Position::point] = layout.point;
  layout.glyphs[Position::comma] = layout.comma;
  layout.glyphs[Position::currency] = rules.floats == Floats::currency ? 0 : layout.currency;
  layout.glyphs[Position::sign] = rules.floats == Floats::sign ? 0 : layout.sign;
  return layout;
}

// Prints a CR or DB position, of which a picture that ends too early holds the first character only; leaves
// `picture` on its last character.
inline void printPair(const Layout& layout, const uint8_t*& picture, uint8_t*& out) {
  const bool minus = layout.sign == '-';
  *out++ = minus ? *picture : ' ';
  if (picture + 1 == layout.pictureEnd) return;
  ++picture;
  *out++ = minus ? *picture : ' ';
}

// Prints the positions ahead of the first significant digit, and leaves the cursor on the position of that
// digit, or at the picture's end when there is none. `first` is where the item begins: a symbol that would
// stand ahead of it isn't written.
inline void printLeading(const Layout& layout, Cursor& at, const uint8_t* first) {
  enum class Floating : uint8_t { none, atFirst, behindFirst };
  Floating floating = layout.floats == Floats::nothing ? Floating::none : Floating::atFirst;
  uint8_t fill = ' ';
  bool pastPoint = false;
  bool suppressing = false;  // the last digit position was suppressed: insertions print the fill character
  bool placed = false;       // the floating symbol is out, or an inserted zero stands for it

  const auto placeSymbol = [&] {
    if (floating != Floating::none && at.out != first)
      at.out[-1] = layout.floats == Floats::currency ? layout.currency : layout.sign;
  };
  // True when the character stands there as itself, counting as printed text.
  const auto insert = [&](uint8_t character) {
    if (floating == Floating::atFirst) {
      *at.out++ = character;
      return false;
    }
    if (floating == Floating::behindFirst && !pastPoint) {
      *at.out++ = ' ';
      return false;
    }
    *at.out++ = suppressing ? fill : character;
    return !suppressing;
  };
  // True when the position's digit is the first significant one.
  const auto floatOver = [&] {
    if (placed) {
      *at.out++ = *at.source++;
    } else if (floating == Floating::atFirst) {
      *at.out++ = ' ';
      floating = Floating::behindFirst;
    } else if (*at.source == '0') {
      *at.out++ = ' ';
      ++at.source;
    } else {
      placeSymbol();
      return true;
    }
    return false;
  };

  for (; at.picture != layout.pictureEnd; ++at.picture) {
    switch (*at.picture) {
      case '*':
        fill = '*';
        [[fallthrough]];
      case 'Z':
        if (pastPoint) return;
        if (*at.source != '0') return placeSymbol();
        suppressing = true;
        *at.out++ = fill;
        ++at.source;
        break;
      case ',':
        if (placed || (!suppressing && floating != Floating::behindFirst))
          *at.out++ = layout.comma;
        else
          *at.out++ = suppressing ? fill : ' ';
        break;
      case '9':
        if (!pastPoint) placeSymbol();
        return;
      case 'V':
      case '.':
        placeSymbol();
        placed = placed || floating != Floating::none;
        pastPoint = true;
        suppressing = false;
        if (*at.picture == '.') *at.out++ = layout.point;
        break;
      case '$':
        if (layout.floats != Floats::currency)
          *at.out++ = layout.currency;
        else if (floatOver())
          return;
        break;
      case '+':
      case '-':
        if (layout.floats != Floats::sign)
          *at.out++ = layout.sign;
        else if (floatOver())
          return;
        break;
      case '0':
        if (insert('0')) placed = true;
        break;
      case '/':
      case ' ':
        insert(*at.picture);
        break;
      case 'P':
        break;
      default:
        printPair(layout, at.picture, at.out);
    }
  }
}

// Prints the positions from the first significant digit to the picture's end. Digits and other characters
// take the same path, without a branch that a predictor would have to learn for each picture.
inline void printSignificant(const Layout& layout, Cursor& at) {
  const uint8_t* digit = at.source - 1;  // the last one used: always a readable byte
  const uint8_t* picture = at.picture;
  uint8_t* out = at.out;
  for (; picture != layout.pictureEnd; ++picture) {
    const uint8_t position = positionOf[*picture];
    if (position >= Position::nothing) {
      if (position == Position::pair) printPair(layout, picture, out);
      continue;
    }
    const uint8_t glyph = layout.glyphs[position];
    digit += glyph == 0;
    *out++ = glyph == 0 ? *digit : glyph;
  }
  at = {picture, digit + 1, out};
}

bool hasAsterisk(const Layout& layout) {
  for (const uint8_t* at = layout.picture; at < layout.pictureEnd; ++at) {
    if (*at == '*') return true;
    if (positionOf[*at] == Position::pair) ++at;
  }
  return false;
}

// Replaces a zero value's text as BLANK WHEN ZERO or the zero rule wants it.
void replaceZero(const Layout& layout, std::span<uint8_t> text) {
  if (!layout.blankWhenZero && layout.kind < firstKindOfBlanks && hasAsterisk(layout))
    std::ranges::replace_if(
        text, [&](uint8_t byte) { return byte != layout.point; }, '*');
  else
    std::ranges::fill(text, ' ');
}

// Edits the digits at `digits` to `destination`; the end of the text.
inline uint8_t* edit(const Layout& layout, const uint8_t* digits, uint8_t* destination) {
  Cursor at{layout.picture, digits, destination};
  printLeading(layout, at, destination);
  printSignificant(layout, at);
  // Suppressed digits are zeros, so the value is zero when all digits that were used are.
  if ((layout.blankWhenZero || layout.zeroRule) &&
      std::all_of(digits, at.source, [](uint8_t digit) { return digit == '0'; }))
    replaceZero(layout, {destination, at.out});
  return at.out;
}

// The part of a picture whose text fits the buffer of the operations with a currency string.
const uint8_t* endOfBoundedPicture(const uint8_t* picture, const uint8_t* end) {
  int32_t printed = 0;
  while (picture != end && (printed += !printsNothing(*picture)) <= longestEditedText) ++picture;
  return picture;
}

}  // namespace

int32_t printedLength(std::span<const uint8_t> picture) {
  return static_cast<int32_t>(
      std::ranges::count_if(picture, [](uint8_t character) { return !printsNothing(character); }));
}

std::span<const uint8_t> currencyString(const QrtCurrency* currency) {
  return {currency->text, static_cast<size_t>(std::max<int16_t>(currency->length, 0))};
}

void moveNumToNumEdit(const QrtNumEditPicture* picture, const uint8_t* source, uint8_t* destination) {
  edit(layoutOf(*picture, source[0]), source + 1, destination);
}

void moveNumToNumEdit2(const QrtNumEditPicture* picture, const uint8_t* source, uint8_t* destination,
                       const QrtCurrency* currency) {
  Layout layout = layoutOf(*picture, source[0]);
  layout.currency = '$';
  layout.pictureEnd = endOfBoundedPicture(layout.picture, layout.pictureEnd);
  uint8_t text[longestEditedText + 1];
  const uint8_t* end = edit(layout, source + 1, text);
  const std::span<const uint8_t> string = currencyString(currency);

  const uint8_t* symbol = std::find(static_cast<const uint8_t*>(text), end, '$');
  if (symbol != end) {
    destination = std::copy(static_cast<const uint8_t*>(text), symbol, destination);
    destination = std::copy(string.begin(), string.end(), destination);
    std::copy(symbol + 1, end, destination);
  } else if (!string.empty()) {
    destination = std::copy(static_cast<const uint8_t*>(text), end, destination);
    std::fill_n(destination, string.size() - 1, ' ');
  } else if (end != text) {
    std::copy(static_cast<const uint8_t*>(text), end - 1, destination);
  }
}

}  // namespace qrt::statement
