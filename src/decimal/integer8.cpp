// Helpers for eight-byte integers, called by compiled code without a guard. Operands may lie at any address,
// and a result may lie on an operand: everything is read before anything is written.
#include <bit>
#include <cstring>
#include <type_traits>

#include "frame/unaligned.h"
#include "qrtrlib.h"

namespace {

constexpr int32_t done = 0, zeroDivisor = 1, outOfRange = -1;

using qrt::frame::load;
using qrt::frame::store;

uint64_t bits(int64_t value) {
  return static_cast<uint64_t>(value);
}

uint64_t magnitude(int64_t value) {
  return value < 0 ? 0 - bits(value) : bits(value);
}

// The low 64 bits are those of the signed product; only a magnitude that needs more is out of range.
int32_t multiply(int64_t* result, int64_t a, int64_t b) {
  uint64_t product;
  const bool overflow = __builtin_mul_overflow(magnitude(a), magnitude(b), &product);
  store(result, bits(a) * bits(b));
  return overflow ? outOfRange : done;
}

template <typename Integer, typename Remainder>
int32_t divide(Integer* quotient, Remainder* remainder, Integer dividend, Integer divisor) {
  if (divisor == 0) return zeroDivisor;
  if constexpr (std::is_signed_v<Integer>)
    if (dividend == INT64_MIN && divisor == -1) return outOfRange;
  store(quotient, dividend / divisor);
  store(remainder, dividend % divisor);
  return done;
}

// Writes the digits of a value in front of `end`, at least `least` of them; returns the first.
char* writeDigits(char* end, uint32_t value, int least) {
  for (; value != 0 || least > 0; value /= 10, --least) *--end = static_cast<char>('0' + value % 10);
  return end;
}

}  // namespace

void _qrtAdd8to4(int64_t* result, const int64_t* a, int32_t b) {
  store(result, bits(load(a)) + bits(b));
}

void _qrtAdd8to8(int64_t* result, const int64_t* a, const int64_t* b) {
  store(result, bits(load(a)) + bits(load(b)));
}

void _qrtSub8from8(int64_t* result, const int64_t* a, const int64_t* b) {
  store(result, bits(load(a)) - bits(load(b)));
}

int32_t _qrtMult8by4(int64_t* result, const int64_t* a, int32_t b) {
  return multiply(result, load(a), b);
}

int32_t _qrtMult8by8(int64_t* result, const int64_t* a, const int64_t* b) {
  return multiply(result, load(a), load(b));
}

int32_t _qrtMult8by8u(uint64_t* result, const uint64_t* a, const uint64_t* b) {
  uint64_t product;
  const bool overflow = __builtin_mul_overflow(load(a), load(b), &product);
  store(result, product);
  return overflow ? outOfRange : done;
}

int32_t _qrtDiv8by2(int64_t* quotient, int32_t* remainder, const int64_t* dividend, int16_t divisor) {
  return divide<int64_t>(quotient, remainder, load(dividend), divisor);
}

int32_t _qrtDiv8by2u(uint64_t* quotient, uint32_t* remainder, const uint64_t* dividend, uint16_t divisor) {
  return divide<uint64_t>(quotient, remainder, load(dividend), divisor);
}

int32_t _qrtDiv8by4(int64_t* quotient, int64_t* remainder, const int64_t* dividend, int32_t divisor) {
  return divide<int64_t>(quotient, remainder, load(dividend), divisor);
}

int32_t _qrtDiv8by8(int64_t* quotient, int64_t* remainder, const int64_t* dividend, const int64_t* divisor) {
  return divide(quotient, remainder, load(dividend), load(divisor));
}

int32_t _qrtDiv8by8u(uint64_t* quotient, uint64_t* remainder, const uint64_t* dividend,
                     const uint64_t* divisor) {
  return divide(quotient, remainder, load(dividend), load(divisor));
}

void _qrtNeg8(int64_t* value) {
  store(value, 0 - bits(load(value)));
}

void _qrtConv8toStr(char* buffer, const int64_t* value) {
  constexpr uint32_t nineDigits = 1'000'000'000;
  const int64_t number = load(value);
  char text[20];  // as many as the longest magnitude has
  char *const end = text + sizeof text, *first = end;
  uint64_t rest = magnitude(number);
  for (; rest >= nineDigits; rest /= nineDigits)
    first = writeDigits(first, static_cast<uint32_t>(rest % nineDigits), 9);
  first = writeDigits(first, static_cast<uint32_t>(rest), first == end);
  if (number < 0) *buffer++ = '-';
  memcpy(buffer, first, end - first);
  buffer[end - first] = '\0';
}

int32_t _qrtConvDblto8(int64_t* result, double value) {
  constexpr int mantissaBits = 52, exponentBias = 1023, notFinite = 1024;
  constexpr int firstRefused = 60;  // 2 to this power is refused, though the item could hold it
  const uint64_t image = std::bit_cast<uint64_t>(value);
  const int exponent = static_cast<int>(image >> mantissaBits & 0x7FF) - exponentBias;
  const uint64_t implicitBit = 1ull << mantissaBits;
  const uint64_t mantissa = (image & (implicitBit - 1)) | implicitBit;
  uint64_t whole = 0;
  if (exponent >= 0 && exponent < mantissaBits)
    whole = mantissa >> (mantissaBits - exponent);
  else if (exponent >= mantissaBits && exponent < mantissaBits + 64)
    whole = mantissa << (exponent - mantissaBits);
  store(result, image >> 63 != 0 ? 0 - whole : whole);
  static_assert(notFinite - mantissaBits >= 64, "infinities and NaNs store 0");
  return exponent >= firstRefused ? outOfRange : done;
}

// Through extended precision, which holds every eight-byte integer: one rounding, on the store.
void _qrtConv8toFlt(float* result, const int64_t* value) {
  store(result, static_cast<long double>(load(value)));
}

void _qrtConv8utoFlt(float* result, const uint64_t* value) {
  store(result, static_cast<long double>(load(value)));
}

void _qrtConv8toDbl(double* result, const int64_t* value) {
  store(result, static_cast<long double>(load(value)));
}

void _qrtConv8utoDbl(double* result, const uint64_t* value) {
  store(result, static_cast<long double>(load(value)));
}
