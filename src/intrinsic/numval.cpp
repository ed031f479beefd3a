// NUMVAL and NUMVAL-C: one machine that reads a number text by a grammar's table, and the conversion of the
// digits that it collects. Only the low byte of a UTF-16 character is looked at, so the machine is the same
// for both widths.
#include "intrinsic/numval.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "decimal/powers_of_ten.h"
#include "frame/message.h"

namespace qrt::intrinsic {
namespace {

constexpr int32_t noDigit = 97;
constexpr int32_t tooManyDigits = 151;
constexpr int32_t invalidCharacter = 152;
constexpr int32_t invalidCurrency = 155;

constexpr size_t mostDigits = 31;

enum class Action : uint8_t { none, sign, digit, point, minus, currency, invalid };

struct Cell {
  Action action;
  uint8_t state;
};

constexpr size_t mostStates = 21;
constexpr std::string_view classSamples = "+0.CDRB,";  // a character of each class from 1 on
constexpr uint8_t otherClass = classSamples.size() + 1;
constexpr size_t columns = 16;  // one for each class; the rest only makes a row's address cheap

struct Grammar {
  const char* function;
  std::array<std::array<uint8_t, 256>, 2> classes;  // by DECIMAL-POINT IS COMMA
  std::array<std::array<Cell, columns>, mostStates> cells;
};

constexpr std::array<uint8_t, 256> classesOf(bool pointIsComma) {
  std::array<uint8_t, 256> classes;
  classes.fill(otherClass);
  classes[' '] = 0;
  for (size_t at = 0; at < classSamples.size(); ++at)
    classes[classSamples[at]] = static_cast<uint8_t>(at + 1);
  classes['-'] = classes['+'];
  for (char digit = '1'; digit <= '9'; ++digit) classes[digit] = classes['0'];
  if (pointIsComma) std::swap(classes['.'], classes[',']);
  return classes;
}

// Reads a table: a row for each state, in it a cell for each class. A cell is the next state, behind the
// letter of its action if it has one, or "." for an invalid character, as are the cells that a row leaves
// out.
constexpr Grammar grammarOf(const char* function, std::string_view table) {
  constexpr std::string_view letters = " sdpmc.";
  Grammar grammar{function, {classesOf(false), classesOf(true)}, {}};
  size_t state = 0, column = 0;
  for (size_t at = 0; at < table.size(); ++at) {
    if (table[at] == '\n') {
      while (column < columns) grammar.cells[state][column++] = {Action::invalid, 0};
      ++state;
      column = 0;
    } else if (table[at] != ' ') {
      Cell cell{Action::none, 0};
      if (table[at] < '0' || table[at] > '9') cell.action = static_cast<Action>(letters.find(table[at++]));
      for (; at < table.size() && table[at] >= '0' && table[at] <= '9'; ++at)
        cell.state = static_cast<uint8_t>(cell.state * 10 + (table[at] - '0'));
      --at;
      grammar.cells[state][column++] = cell;
    }
  }
  return grammar;
}

// clang-format off
constexpr Grammar numvalGrammar = grammarOf("NUMVAL",
  // space sign digit point  C    D    R    B
    " 0    s1   d2   p5     .    .    .    .  \n"   //  0 start
    " 1    .    d3   p6     .    .    .    .  \n"   //  1 behind a leading sign
    " 4    s11  d2   p5     12   13   .    .  \n"   //  2 digits
    " 14   .    d3   p6     .    .    .    .  \n"   //  3 digits, signed
    " 4    s11  .    .      12   13   .    .  \n"   //  4 spaces behind digits
    " 7    s11  d8   .      12   13   .    .  \n"   //  5 behind the point
    " 14   .    d9   .      .    .    .    .  \n"   //  6 behind the point, signed
    " 7    s11  .    .      12   13   .    .  \n"   //  7 spaces behind the point
    " 10   s11  d8   .      12   13   .    .  \n"   //  8 fraction digits
    " 14   .    d9   .      .    .    .    .  \n"   //  9 fraction digits, signed
    " 10   s11  .    .      12   13   .    .  \n"   // 10 spaces behind the fraction
    " 14   .    .    .      .    .    .    .  \n"   // 11 behind a trailing sign
    " .    .    .    .      .    .    m14  .  \n"   // 12 behind C
    " .    .    .    .      .    .    .    m14\n"   // 13 behind D
    " 14   .    .    .      .    .    .    .  \n"); // 14 trailing spaces

// States 2 and 3 aren't used.
constexpr Grammar numvalCGrammar = grammarOf("NUMVAL-C",
  // space sign digit point  C    D    R    B    comma other
    " 0    s1   d6   p11    c4   c4   c4   c4   .     c4\n"   //  0 start
    " 1    .    d7   p12    c5   c5   c5   c5   .     c5\n"   //  1 behind a leading sign
    "\n"
    "\n"
    " 4    s17  d6   p11    18   19   .    .    .     . \n"   //  4 behind the currency sign
    " 5    .    d7   p12    .    .    .    .    .     . \n"   //  5 behind sign and currency sign
    " 10   s17  d6   p11    18   19   .    .    8     . \n"   //  6 digits
    " 20   .    d7   p12    .    .    .    .    9     . \n"   //  7 digits, signed
    " .    .    d6   .      .    .    .    .    .     . \n"   //  8 behind a comma
    " .    .    d7   .      .    .    .    .    .     . \n"   //  9 behind a comma, signed
    " 10   s17  .    .      18   19   .    .    .     . \n"   // 10 spaces behind digits
    " 13   s17  d14  .      18   19   .    .    .     . \n"   // 11 behind the point
    " 20   .    d15  .      .    .    .    .    .     . \n"   // 12 behind the point, signed
    " 13   s17  .    .      18   19   .    .    .     . \n"   // 13 spaces behind the point
    " 16   s17  d14  .      18   19   .    .    .     . \n"   // 14 fraction digits
    " 20   .    d15  .      .    .    .    .    .     . \n"   // 15 fraction digits, signed
    " 16   s17  .    .      18   19   .    .    .     . \n"   // 16 spaces behind the fraction
    " 20   .    .    .      .    .    .    .    .     . \n"   // 17 behind a trailing sign
    " .    .    .    .      .    .    m20  .    .     . \n"   // 18 behind C
    " .    .    .    .      .    .    .    m20  .     . \n"   // 19 behind D
    " 20   .    .    .      .    .    .    .    .     . \n"); // 20 trailing spaces
// clang-format on

// Characters of `unit` bytes each, read by their low bytes.
template <size_t unit>
struct Text {
  const uint8_t* start;
  size_t size;  // characters

  Text(const void* bytes, int32_t length)
      : start(static_cast<const uint8_t*>(bytes)), size(static_cast<size_t>(std::max(length, 0)) / unit) {}
  const uint8_t* end() const { return start + size * unit; }
  uint8_t operator[](size_t index) const { return start[index * unit]; }
};

struct Scanned {
  size_t invalidAt = 0;  // position from 1 of the character that ended the scan; 0 for none
  size_t digits = 0;     // all of them, stored or not
  size_t fraction = 0;   // those behind the point
  bool negative = false;
};

// The work text: the sign's place, the digits, then room for an exponent and the end.
constexpr size_t mostExponentDigits = 10;
constexpr size_t textOverhead = 1 + 2 + mostExponentDigits + 1;
struct WorkText {
  char* start;
  size_t mostDigits;
};

// Whether the currency sign stands at `at`, ahead of `end`.
template <size_t unit>
bool startsWith(const uint8_t* at, const uint8_t* end, const Text<unit>& currency) {
  if (currency.size == 0 || currency.size * unit > static_cast<size_t>(end - at)) return false;
  for (size_t index = 0; index < currency.size; ++index)
    if (at[index * unit] != currency[index]) return false;
  return true;
}

// Reads the argument, and stores its digits behind the sign's place as far as there is room.
template <size_t unit>
Scanned scan(const Grammar& grammar, bool pointIsComma, const Text<unit>& argument,
             const Text<unit>& currency, WorkText text) {
  constexpr size_t none = SIZE_MAX;
  const auto& classes = grammar.classes[pointIsComma];
  const uint8_t* const end = argument.end();
  Scanned scanned;
  size_t ahead = none;  // digits ahead of the point
  uint8_t state = 0;
  // In every grammar the state behind a digit stays for more digits, that behind a space for more spaces: a
  // run takes one look into the table.
  for (const uint8_t* at = argument.start; at != end; at += unit) {
    const Cell cell = grammar.cells[state][classes[*at]];
    state = cell.state;
    const auto goesOn = [&](auto isOfRun) { return at + unit != end && isOfRun(at[unit]); };
    switch (cell.action) {
      case Action::digit:
        for (;; at += unit) {
          if (scanned.digits < text.mostDigits) text.start[1 + scanned.digits] = static_cast<char>(*at);
          ++scanned.digits;
          if (!goesOn([](uint8_t byte) { return byte >= '0' && byte <= '9'; })) break;
        }
        break;
      case Action::none:
        if (*at == ' ')
          while (goesOn([](uint8_t byte) { return byte == ' '; })) at += unit;
        break;
      case Action::point:
        ahead = scanned.digits;
        break;
      case Action::sign:
        scanned.negative = *at == '-';
        break;
      case Action::minus:
        scanned.negative = true;
        break;
      case Action::currency:
        if (startsWith(at, end, currency)) {
          at += (currency.size - 1) * unit;
          break;
        }
        [[fallthrough]];
      case Action::invalid:
        scanned.invalidAt = static_cast<size_t>(at - argument.start) / unit + 1;
        return scanned;
    }
  }
  if (ahead != none) scanned.fraction = scanned.digits - ahead;
  return scanned;
}

// At most 18 digits as a whole number, nine at a time since those fit one register.
int64_t wholeNumber(std::string_view digits) {
  int64_t value = 0;
  while (!digits.empty()) {
    const size_t taken = std::min<size_t>(digits.size(), 9);
    uint32_t part = 0, scale = 1;
    for (const char digit : digits.substr(0, taken)) {
      part = part * 10 + static_cast<uint32_t>(digit - '0');
      scale *= 10;
    }
    value = value * scale + part;
    digits.remove_prefix(taken);
  }
  return value;
}

// The value nearest to the digits. Both a number of 18 digits and a power of ten up to the 27th are exact in
// a mantissa of 64 bits, so that their quotient is rounded once, as the C library's conversion rounds.
long double convert(char* text, const Scanned& scanned) {
  constexpr size_t mostExactDigits = 18, mostExactPower = 27;
  std::string_view digits(text + 1, scanned.digits);
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  if (digits.size() <= mostExactDigits && scanned.fraction <= mostExactPower) {
    const long double magnitude = wholeNumber(digits), whole = scanned.negative ? -magnitude : magnitude;
    return scanned.fraction == 0
               ? whole
               : whole / decimal::extendedPowerOfTen(static_cast<int32_t>(scanned.fraction));
  }
  // An exponent in the place of a point, which would have to be the locale's.
  text[0] = scanned.negative ? '-' : '+';
  char* end = text + 1 + scanned.digits;
  *end++ = 'e';
  *end++ = '-';
  *std::to_chars(end, end + mostExponentDigits, scanned.fraction).ptr = '\0';
  return strtold(text, nullptr);
}

template <size_t unit>
long double value(const Grammar& grammar, const QrtNumvalControl& control, const Text<unit>& argument,
                  const Text<unit>& currency) {
  const bool pointIsComma = control.decimalPoint == ',';
  char text[textOverhead + mostDigits];
  const Scanned scanned = scan(grammar, pointIsComma, argument, currency, {text, mostDigits});
  if (scanned.invalidAt != 0) {
    qrtWriteERRmsg(invalidCharacter, 0, argument[scanned.invalidAt - 1], scanned.invalidAt, grammar.function);
    return 0;
  }
  if (scanned.digits == 0) {
    qrtWriteERRmsg(noDigit, 0, grammar.function);
    return 0;
  }
  if (scanned.digits <= mostDigits) return convert(text, scanned);

  qrtWriteERRmsg(tooManyDigits, 0, grammar.function);
  const auto size = static_cast<uint32_t>(textOverhead + scanned.digits);
  auto* const longText = static_cast<char*>(_qrtMalloc(size, frame::message::outOfMemory, 0));
  if (longText == nullptr) return 0;
  scan(grammar, pointIsComma, argument, currency, {longText, scanned.digits});
  const long double converted = convert(longText, scanned);
  _qrtCheckFree(longText);
  return converted;
}

template <typename Float>
void store(long double value, void* result) {
  constexpr size_t size = sizeof(Float) == sizeof(double) ? sizeof(double) : 10;
  const auto rounded = static_cast<Float>(value);
  memcpy(result, &rounded, size);
}

// Reports the first character that may not stand in a currency sign, or not at its ends.
template <size_t unit>
void checkCurrency(const Text<unit>& currency) {
  for (size_t at = 0; at < currency.size; ++at) {
    const uint8_t byte = currency[at];
    const bool atEnd = at == 0 || at + 1 == currency.size;
    if ((byte == ' ' && atEnd) || (byte >= '0' && byte <= '9') ||
        std::string_view("+,-.").find(static_cast<char>(byte)) != std::string_view::npos) {
      qrtWriteERRmsg(invalidCurrency, 0, byte, at + 1, numvalCGrammar.function);
      return;
    }
  }
}

// The currency sign that the control block chooses; empty for none.
template <size_t unit>
Text<unit> chosenCurrency(const QrtNumvalControl& control, int32_t currencyLength, const void* currency) {
  switch (control.currencySource) {
    case QRT_CURRENCY_BYTE:
      return {&control.currency, unit};
    case QRT_CURRENCY_ARGUMENT:
      return {currency, currencyLength};
    default:
      return {nullptr, 0};
  }
}

}  // namespace

template <size_t unit, typename Float>
void numval(const QrtNumvalControl* control, int32_t length, const void* string, void* result) {
  const Text<unit> none(nullptr, 0);
  store<Float>(value(numvalGrammar, *control, Text<unit>(string, length), none), result);
}

template <size_t unit, typename Float>
void numvalC(const QrtNumvalControl* control, int32_t length, const void* string, int32_t currencyLength,
             const void* currency, void* result) {
  const auto sign = chosenCurrency<unit>(*control, currencyLength, currency);
  if (control->currencySource == QRT_CURRENCY_ARGUMENT) checkCurrency(sign);
  store<Float>(value(numvalCGrammar, *control, Text<unit>(string, length), sign), result);
}

#define INSTANCES(unit, Float)                                                                            \
  template void numval<unit, Float>(const QrtNumvalControl*, int32_t, const void*, void*);                \
  template void numvalC<unit, Float>(const QrtNumvalControl*, int32_t, const void*, int32_t, const void*, \
                                     void*);
INSTANCES(1, double)
INSTANCES(2, double)
INSTANCES(1, long double)
INSTANCES(2, long double)
#undef INSTANCES

}  // namespace qrt::intrinsic
