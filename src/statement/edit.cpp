// Numeric editing in two phases. Up to the first significant digit every position depends on what came before
// it: suppression, fill and the floating symbol. From there on a position prints the same whatever its
// neighbours are, and a plain loop does the rest.
#include "statement/edit.h"

#include <algorithm>
#include <cstdlib>

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

// A picture and what its positions print.
struct Layout {
  const uint8_t* picture;
  const uint8_t* pictureEnd;
  uint8_t point, comma, currency, sign;
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

bool blankWhenZero(const QrtNumEditPicture& record) {
  return record.editKind > lastKind;
}

uint8_t kindOf(const QrtNumEditPicture& record) {
  return static_cast<uint8_t>(blankWhenZero(record) ? -record.editKind : record.editKind);
}

EditKind rulesOf(const QrtNumEditPicture& record) {
  const uint8_t kind = kindOf(record);
  return editKinds[kind <= lastKind ? kind : 0];
}

Layout layoutOf(const QrtNumEditPicture& record, EditKind rules, uint8_t sourceSign) {
  const bool swapped = record.decimalPoint != '.';
  return {.picture = record.picture,
          .pictureEnd = record.picture + std::abs(record.pictureLength),
          .point = static_cast<uint8_t>(swapped ? ',' : '.'),
          .comma = static_cast<uint8_t>(swapped ? '.' : ','),
          .currency = record.currency,
          .sign = signCharacter(rules.sign, sourceSign)};
}

// Prints a CR or DB position, of which a picture that ends too early holds the first character only; leaves
// the cursor on the last character of the two.
[[gnu::always_inline]] inline Cursor printPair(const Layout& layout, Cursor at) {
  const bool minus = layout.sign == '-';
  *at.out++ = minus ? *at.picture : ' ';
  if (at.picture + 1 == layout.pictureEnd) return at;
  ++at.picture;
  *at.out++ = minus ? *at.picture : ' ';
  return at;
}

// The leading phase comes in two forms. Each prints the positions up to the first one that prints the same
// whatever was ahead of it, and leaves the cursor there: a significant digit, the picture's end, or, where
// nothing floats, the decimal point.

inline Cursor printSuppressed(const Layout& layout, Cursor at) {
  uint8_t fill = ' ';
  bool suppressing = false;   // a digit was suppressed: insertions print the fill character
  bool zeroInserted = false;  // ahead of any suppressed digit: commas print from then on
  for (; at.picture != layout.pictureEnd; ++at.picture) {
    const uint8_t position = *at.picture;
    if (position == 'Z' || position == '*') {  // most positions: cheaper than a jump through a table
      if (position == '*') fill = '*';
      if (*at.source != '0') return at;
      suppressing = true;
      *at.out++ = fill;
      ++at.source;
      continue;
    }
    switch (position) {
      case ',':
        *at.out++ = suppressing && !zeroInserted ? fill : layout.comma;
        break;
      case '9':
      case 'V':
      case '.':
        return at;
      case '$':
        *at.out++ = layout.currency;
        break;
      case '+':
      case '-':
        *at.out++ = layout.sign;
        break;
      case '0':
        zeroInserted = zeroInserted || !suppressing;
        [[fallthrough]];
      case '/':
      case ' ':
        *at.out++ = suppressing ? fill : position;
        break;
      case 'P':
        break;
      default:
        at = printPair(layout, at);
    }
  }
  return at;
}

// `first` is where the item begins: a symbol that would stand ahead of it isn't written.
template <Floats floats>
inline Cursor printFloating(const Layout& layout, Cursor at) {
  const uint8_t* const first = at.out;
  uint8_t fill = ' ';
  bool begun = false;  // the first floating position, which takes no digit, is over
  bool pastPoint = false;
  bool suppressing = false;  // the last digit position was suppressed
  bool placed = false;       // the symbol is out
  bool significant = false;  // set only where suppression lasts on behind the first significant digit

  const auto placeSymbol = [&] {
    if (at.out != first) at.out[-1] = floats == Floats::currency ? layout.currency : layout.sign;
  };
  for (; at.picture != layout.pictureEnd; ++at.picture) {
    const uint8_t position = *at.picture;
    switch (position) {
      case '$':
      case '+':
      case '-':
        if ((position == '$') != (floats == Floats::currency)) {
          *at.out++ = position == '$' ? layout.currency : layout.sign;
        } else if (placed || significant) {
          *at.out++ = *at.source++;
        } else if (!begun) {
          begun = true;
          *at.out++ = ' ';
        } else if (*at.source == '0') {
          *at.out++ = ' ';
          ++at.source;
        } else {
          placeSymbol();
          if (!suppressing) return at;
          significant = true;
          *at.out++ = *at.source++;
        }
        break;
      case ',':
        if (placed || significant)
          *at.out++ = layout.comma;
        else if (suppressing)
          *at.out++ = fill;
        else
          *at.out++ = begun ? ' ' : layout.comma;
        break;
      case '9':
        if (!pastPoint && !significant) placeSymbol();
        return at;
      case 'V':
      case '.':
        if (significant) return at;
        placeSymbol();
        placed = true;
        pastPoint = true;
        suppressing = false;
        if (position == '.') *at.out++ = layout.point;
        break;
      case '*':
        fill = '*';
        [[fallthrough]];
      case 'Z':
        if (pastPoint) return at;
        if (significant) {
          *at.out++ = *at.source++;
        } else if (*at.source == '0') {
          suppressing = true;
          *at.out++ = fill;
          ++at.source;
        } else {
          placeSymbol();
          return at;
        }
        break;
      case '0':
      case '/':
      case ' ':
        if (significant)
          *at.out++ = fill;
        else
          *at.out++ = !begun || pastPoint ? position : ' ';
        break;
      case 'P':
        break;
      default:
        at = printPair(layout, at);
    }
  }
  return at;
}

// Prints the positions from there to the picture's end.
template <Floats floats>
inline Cursor printSignificant(const Layout& layout, Cursor at) {
  for (; at.picture != layout.pictureEnd; ++at.picture) {
    const uint8_t position = *at.picture;
    if (position == '9' || position == 'Z') {
      *at.out++ = *at.source++;
      continue;
    }
    switch (position) {
      case '*':
        *at.out++ = *at.source++;
        break;
      case ',':
        *at.out++ = layout.comma;
        break;
      case '.':
        *at.out++ = layout.point;
        break;
      case '$':
        *at.out++ = floats == Floats::currency ? *at.source++ : layout.currency;
        break;
      case '+':
      case '-':
        *at.out++ = floats == Floats::sign ? *at.source++ : layout.sign;
        break;
      case '0':
      case '/':
      case ' ':
        *at.out++ = position;
        break;
      case 'P':
      case 'V':
        break;
      default:
        at = printPair(layout, at);
    }
  }
  return at;
}

template <Floats floats>
inline Cursor printAll(const Layout& layout, Cursor start) {
  if constexpr (floats == Floats::nothing)
    return printSignificant<floats>(layout, printSuppressed(layout, start));
  else
    return printSignificant<floats>(layout, printFloating<floats>(layout, start));
}

// Replaces a zero value's text as BLANK WHEN ZERO or the zero rule wants it.
void replaceZero(const QrtNumEditPicture& record, const Layout& layout, std::span<uint8_t> text) {
  bool asterisks = false;
  for (const uint8_t* at = layout.picture; at < layout.pictureEnd && !asterisks; ++at) {
    asterisks = *at == '*';
    if (isPair(*at)) ++at;
  }
  if (!blankWhenZero(record) && kindOf(record) < firstKindOfBlanks && asterisks)
    std::ranges::replace_if(
        text, [&](uint8_t byte) { return byte != layout.point; }, '*');
  else
    std::ranges::fill(text, ' ');
}

// Edits the digits at `digits` to `destination`; the end of the text.
uint8_t* edit(const QrtNumEditPicture& record, EditKind rules, const Layout& layout, const uint8_t* digits,
              uint8_t* destination) {
  const Cursor start{layout.picture, digits, destination};
  const Cursor end = rules.floats == Floats::nothing ? printAll<Floats::nothing>(layout, start)
                     : rules.floats == Floats::sign  ? printAll<Floats::sign>(layout, start)
                                                     : printAll<Floats::currency>(layout, start);
  // Suppressed digits are zeros, so the value is zero when all digits that were used are.
  if ((blankWhenZero(record) || record.pictureLength < 0) &&
      std::all_of(digits, end.source, [](uint8_t digit) { return digit == '0'; }))
    replaceZero(record, layout, {destination, end.out});
  return end.out;
}

}  // namespace

PictureExtent measure(std::span<const uint8_t> picture) {
  PictureExtent extent{};
  while (extent.characters < picture.size()) {
    const uint8_t position = picture[extent.characters];
    const size_t taken = isPair(position) ? std::min<size_t>(2, picture.size() - extent.characters) : 1;
    const size_t printed = printsNothing(position) ? 0 : taken;
    if (extent.bytes + printed > longestEditedText) break;
    extent.characters += taken;
    extent.bytes += printed;
  }
  return extent;
}

std::span<const uint8_t> currencyString(const QrtCurrency* currency) {
  return {currency->text, static_cast<size_t>(std::max<int16_t>(currency->length, 0))};
}

void moveNumToNumEdit(const QrtNumEditPicture* picture, const uint8_t* source, uint8_t* destination) {
  const EditKind rules = rulesOf(*picture);
  edit(*picture, rules, layoutOf(*picture, rules, source[0]), source + 1, destination);
}

void moveNumToNumEdit2(const QrtNumEditPicture* picture, const uint8_t* source, uint8_t* destination,
                       const QrtCurrency* currency) {
  const EditKind rules = rulesOf(*picture);
  Layout layout = layoutOf(*picture, rules, source[0]);
  layout.currency = '$';
  layout.pictureEnd = layout.picture + measure({layout.picture, layout.pictureEnd}).characters;
  uint8_t text[longestEditedText + 1];
  const uint8_t* end = edit(*picture, rules, layout, source + 1, text);
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
