// External floating-point items: a mantissa with its sign and point, "E", and an exponent with its sign.
#include "decimal/float_external.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "decimal/powers_of_ten.h"
#include "frame/message.h"

namespace qrt::decimal {
namespace {

// Room in an item; what doesn't fit is cut.
struct Field {
  uint8_t* at;
  uint8_t* end;

  void put(char byte) {
    if (at != end) *at++ = static_cast<uint8_t>(byte);
  }
  void put(std::string_view text) {
    for (const char byte : text) put(byte);
  }
};

constexpr int32_t mostDigits = 64;

// A magnitude rounded to a count of digits: d.ddd times 10 to the exponent.
struct Digits {
  char digit[mostDigits];
  int32_t count = 0;
  int32_t exponent = 0;

  // 0 is what stands behind the last one.
  char operator[](int32_t index) const { return index < count ? digit[index] : '0'; }
};

Digits digitsOf(long double magnitude, int32_t count) {
  char text[mostDigits + 16];
  char* const end = text + sizeof text;
  const auto narrow = static_cast<double>(magnitude);  // quicker, and as good where it holds the value
  const auto written = narrow == magnitude
                           ? std::to_chars(text, end, narrow, std::chars_format::scientific, count - 1)
                           : std::to_chars(text, end, magnitude, std::chars_format::scientific, count - 1);
  Digits digits;
  const char* at = text;
  for (; *at != 'e'; ++at)
    if (*at >= '0' && *at <= '9') digits.digit[digits.count++] = *at;
  ++at;
  std::from_chars(*at == '+' ? at + 1 : at, written.ptr, digits.exponent);
  return digits;
}

void putSign(Field& field, bool negative, uint8_t picture) {
  field.put(negative ? '-' : picture == '-' ? ' ' : '+');
}

void putNumber(Field& field, const QrtExternalFloat& control, long double value) {
  const int32_t before = std::max<int32_t>(control.before, 0),
                all = before + std::max<int32_t>(control.after, 0);
  const Digits digits = digitsOf(std::fabs(value), std::clamp(all, 1, mostDigits));
  for (int32_t i = 0; i < before; ++i) field.put(digits[i]);
  if (control.length >= 0) field.put(static_cast<char>(control.decimalPoint));
  for (int32_t i = before; i < all; ++i) field.put(digits[i]);

  const int32_t exponent = value == 0 ? 0 : digits.exponent + 1 - before;
  field.put('E');
  putSign(field, exponent < 0, control.exponentSign);
  char text[8];
  const uint32_t magnitude = exponent < 0 ? 0u - exponent : exponent;
  const auto written = std::to_chars(text, text + sizeof text, magnitude);
  if (magnitude < 10) field.put('0');
  field.put({text, written.ptr});
}

enum class Action : uint8_t { none, copy, mantissa, fraction, exponentSign, exponent, stop };
enum Class : uint8_t { space, sign, digit, point, e, other, classes };

constexpr auto classOf = [] {
  std::array<uint8_t, 256> table;
  table.fill(other);
  table[' '] = space;
  table['+'] = table['-'] = sign;
  table['.'] = table[','] = point;
  table['E'] = table['e'] = e;
  for (char each = '0'; each <= '9'; ++each) table[each] = digit;
  return table;
}();

struct Cell {
  Action action;
  uint8_t state;
};
constexpr uint8_t behindPoint = 3;

// Reads a table: a row for each state, in it a cell for each class: the letter of an action if there is one,
// then the next state.
constexpr auto scannerOf(std::string_view table) {
  constexpr std::string_view letters = " cmfsex";
  std::array<std::array<Cell, classes>, 10> cells{};
  size_t at = 0;
  for (auto& row : cells)
    for (Cell& cell : row) {
      at = table.find_first_not_of(' ', at);
      if (table[at] > '9') cell.action = static_cast<Action>(letters.find(table[at++]));
      cell.state = static_cast<uint8_t>(table[at++] - '0');
    }
  return cells;
}

// clang-format off
constexpr auto scanner = scannerOf(
  // space sign digit point E other
    " 0    c1   m2   c3    x9 0"   // 0 start
    " 1    1    m2   c3    x9 1"   // 1 behind the sign
    " 2    2    m2   c3    5  2"   // 2 integer digits
    " 3    3    f4   3     5  3"   // 3 behind the point
    " 4    4    f4   4     5  4"   // 4 fraction digits
    " 5    s6   e7   5     5  5"   // 5 behind E
    " 6    s6   e7   6     6  6"   // 6 behind the exponent's sign
    " 7    7    c8   7     7  7"   // 7 a digit of the exponent
    " 8    8    c8   8     8  8"   // 8 further digits of it
    " x9   x9   x9   x9    x9 x9"); // 9 end
// clang-format on

constexpr int32_t longestText = 32768;
constexpr int32_t manyTimesLongest = 1'000'000;  // an exponent beyond which nothing changes

// A number text as it was read: digits times 10 to the (exponent - fraction).
struct Scanned {
  bool negative = false, exponentNegative = false;
  int32_t digits = 0, fraction = 0;
  int32_t exponent = 0;  // its magnitude

  int32_t power() const { return (exponentNegative ? -exponent : exponent) - fraction; }
};

// Stores the mantissa's digits from `digits` on. Unexpected bytes are passed over. Without a stored point the
// first digit from `pointAt` on is the first one behind it.
Scanned scan(const uint8_t* text, int32_t length, int32_t pointAt, char* digits) {
  Scanned scanned;
  bool pointSeen = false;
  uint8_t state = 0;
  for (int32_t at = 0; at < length; ++at) {
    const uint8_t kind = classOf[text[at]];
    const Cell cell = scanner[state][kind];
    state = cell.state;
    switch (cell.action) {
      case Action::none:
        break;
      case Action::mantissa:
        if (at >= pointAt) {
          pointSeen = true;
          state = behindPoint;
        }
        [[fallthrough]];
      case Action::fraction:
        digits[scanned.digits++] = static_cast<char>(text[at]);
        scanned.fraction += pointSeen;
        break;
      case Action::exponentSign:
        scanned.exponentNegative = text[at] == '-';
        break;
      case Action::copy:
        if (kind == sign) scanned.negative = text[at] == '-';
        if (kind == point) pointSeen = true;
        if (kind != digit) break;
        [[fallthrough]];
      case Action::exponent:
        scanned.exponent = std::min(scanned.exponent * 10 + (text[at] - '0'), manyTimesLongest);
        break;
      case Action::stop:
        return scanned;
    }
  }
  return scanned;
}

// The value nearest to the digits behind `text`; errno is ERANGE when there is none. Both a number of 18
// digits and a power of ten up to the 27th are exact in a mantissa of 64 bits, so that their product or
// quotient is rounded once, as the C library's conversion rounds.
long double convert(char* text, const Scanned& scanned) {
  constexpr int32_t mostExactDigits = 18, mostExactPower = 27;
  errno = 0;
  if (scanned.digits == 0) return 0;
  const int32_t power = scanned.power();
  if (scanned.digits <= mostExactDigits && power >= -mostExactPower && power <= mostExactPower) {
    int64_t whole = 0;
    std::from_chars(text + 1, text + 1 + scanned.digits, whole);
    const long double value = scanned.negative ? -static_cast<long double>(whole) : whole;
    return power < 0 ? value / extendedPowerOfTen(-power) : value * extendedPowerOfTen(power);
  }
  // An exponent in the place of a point, which would have to be the locale's.
  constexpr size_t mostExponentDigits = 10;
  text[0] = scanned.negative ? '-' : '+';
  char* end = text + 1 + scanned.digits;
  *end++ = 'E';
  *std::to_chars(end, end + mostExponentDigits, power).ptr = '\0';
  return strtold(text, nullptr);
}

struct Limits {
  long double smallest, largest;  // of the magnitudes that fit
  long double stored;             // in the place of a larger one
};

Limits limitsOf(int32_t targetSize) {
  switch (targetSize) {
    case sizeof(float):
      return {1.1754944e-38L, 3.4028235e+38L, FLT_MAX};
    case sizeof(double):
      return {2.2250738585072014e-308L, 1.79769313486232e+308L, DBL_MAX};
    default:
      return {0, LDBL_MAX, LDBL_MAX};
  }
}

template <typename Real>
void store(long double value, void* destination) {
  constexpr size_t size = sizeof(Real) > 8 ? 10 : sizeof(Real), slot = sizeof(Real) > 8 ? 16 : size;
  const auto rounded = static_cast<Real>(value);
  memcpy(destination, &rounded, size);
  memset(static_cast<uint8_t*>(destination) + size, 0, slot - size);
}

}  // namespace

template <typename Real>
void floatToExternal(const QrtExternalFloat* control, const void* source, uint8_t* destination) {
  Real value = 0;
  memcpy(&value, source, sizeof(Real) > 8 ? 10 : sizeof(Real));
  Field field{destination, destination + std::abs(int32_t{control->length})};
  putSign(field, std::signbit(value) && value != 0, control->mantissaSign);
  if (std::isfinite(value))
    putNumber(field, *control, value);
  else
    field.put(std::isnan(value) ? "NAN" : "INFINITY");
  std::fill(field.at, field.end, static_cast<uint8_t>(' '));
}

template void floatToExternal<double>(const QrtExternalFloat*, const void*, uint8_t*);
template void floatToExternal<long double>(const QrtExternalFloat*, const void*, uint8_t*);

int32_t externalToFloat(const QrtExternalFloatSource* control, const uint8_t* source, void* destination,
                        int32_t report) {
  constexpr int32_t underflow = 1, overflow = 2;
  const bool storedPoint = control->length >= 0;
  const int32_t length = std::abs(int32_t{control->length});
  char text[1 + longestText + 16];
  const Scanned scanned = scan(source, length, storedPoint ? length : control->before + 1, text + 1);
  long double value = convert(text, scanned);
  const bool outOfRange = errno == ERANGE;
  const Limits limits = limitsOf(control->targetSize);
  const long double magnitude = std::fabs(value);
  int32_t result = 0;
  if (outOfRange ? magnitude < 1 : magnitude != 0 && magnitude < limits.smallest) {
    result = underflow;
    value = 0;
  } else if (outOfRange || magnitude > limits.largest) {
    result = overflow;
    value = std::copysign(limits.stored, value);
  }
  if (report != 0 && result != 0)
    qrtWriteERRmsg(result == underflow ? frame::message::floatUnderflow : frame::message::floatOverflow, 0);
  switch (control->targetSize) {
    case sizeof(float):
      store<float>(value, destination);
      break;
    case sizeof(double):
      store<double>(value, destination);
      break;
    default:
      store<long double>(value, destination);
  }
  return result;
}

}  // namespace qrt::decimal
