// Statistics on arrays of doubles and of extended values.
#include "intrinsic/statistics.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/message.h"
#include "intrinsic/arguments.h"
#include "qrtrlib.h"

namespace qrt::intrinsic {
namespace {

// An element of an array.
template <typename Real>
struct [[gnu::packed]] Slot {
  Real value;
};
template <>
struct [[gnu::packed]] Slot<long double> {
  long double value;
  uint32_t ignored;
};
using DoubleSlot = Slot<double>;
using ExtendedSlot = Slot<long double>;
static_assert(sizeof(DoubleSlot) == 8 && sizeof(ExtendedSlot) == 16);

template <typename Real>
void store(long double value, void* result) {
  constexpr size_t size = sizeof(Real) == sizeof(double) ? sizeof(double) : 10;
  const auto rounded = static_cast<Real>(value);
  memcpy(result, &rounded, size);
}

// A whole slot in a register.
__m128i load(const ExtendedSlot* slot) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(slot));
}

__m128i load(const DoubleSlot* slot) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(slot));
}

void put(__m128i bits, ExtendedSlot* slot) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(slot), bits);
}

void put(__m128i bits, DoubleSlot* slot) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(slot), bits);
}

// Moves what lies below the pivot, the first element, to the left in the order of its places, and the pivot
// behind it; returns the pivot's place. Two elements are stored again at each step, changed or not, since a
// branch around that would be mispredicted half of the time.
template <typename Real>
Slot<Real>* partition(Slot<Real>* low, Slot<Real>* high) {
  const auto pivot = low->value;
  Slot<Real>* lastBelow = low;
  for (Slot<Real>* at = low + 1; at <= high; ++at) {
    const int32_t below = at->value < pivot;
    const __m128i element = load(at), other = load(lastBelow + 1);
    const __m128i change = _mm_and_si128(_mm_xor_si128(element, other), _mm_set1_epi32(-below));
    put(_mm_xor_si128(element, change), at);
    put(_mm_xor_si128(other, change), lastBelow + 1);
    lastBelow += below;
  }
  std::swap(*low, *lastBelow);
  return lastBelow;
}

// Puts the element of rank `middle` of an ascending order in its place, with none above it ahead of it and
// none below it behind it. Returns the end of the range behind it that was still in question: what lies
// behind that isn't below what lies in it.
template <typename Real>
Slot<Real>* select(Slot<Real>* low, Slot<Real>* middle, Slot<Real>* high) {
  // Where the pivots are bad, as for equal elements, another selection takes over before the time is
  // quadratic.
  int32_t badRoundsLeft = 64;
  while (badRoundsLeft > 0) {
    const ptrdiff_t range = high - low + 1;
    std::swap(*low, low[(range - 1) / 2]);
    Slot<Real>* const pivot = partition(low, high);
    if (pivot == middle) return high;
    if (pivot < middle)
      low = pivot + 1;
    else
      high = pivot - 1;
    if (range - (high - low + 1) < (range + 7) / 8) --badRoundsLeft;
  }
  std::nth_element(low, middle, high + 1,
                   [](const Slot<Real>& a, const Slot<Real>& b) { return a.value < b.value; });
  return high;
}

template <typename Real>
long double medianInPlace(Slot<Real>* array, int32_t count) {
  Slot<Real>* const middle = array + (count - 1) / 2;
  Slot<Real>* const high = select(array, middle, array + count - 1);
  if (count % 2 != 0) return middle->value;
  auto next = middle[1].value;
  for (const Slot<Real>* at = middle + 2; at <= high; ++at) {
    const auto value = at->value;
    next = value < next ? value : next;
  }
  return (static_cast<long double>(middle->value) + next) * 0.5L;
}

template <typename Real>
long double varianceOf(int32_t count, long double mean, const void* array) {
  const auto* const slots = static_cast<const Slot<Real>*>(array);
  long double sum = 0;
  for (int32_t i = 0; i < count; ++i) {
    const long double deviation = slots[i].value - mean;
    sum += deviation * deviation;
  }
  return sum / count;
}

}  // namespace

void medianOfExtended(int32_t count, void* result, void* array) {
  store<long double>(medianInPlace(static_cast<ExtendedSlot*>(array), count), result);
}

void medianOfDoubles(int32_t count, void* result, const void* array) {
  constexpr int32_t fewElements = 128;
  DoubleSlot few[fewElements];
  const auto size = static_cast<uint32_t>(count) * sizeof(DoubleSlot);
  DoubleSlot* const copy =
      count <= fewElements ? few : static_cast<DoubleSlot*>(_qrtMalloc(size, frame::message::outOfMemory, 0));
  if (copy == nullptr) return;
  memcpy(copy, array, size);
  store<double>(medianInPlace(copy, count), result);
  if (copy != few) _qrtCheckFree(copy);
}

template <typename Real>
void presentValue(int32_t count, void* result, const void* array) {
  const auto* const slots = static_cast<const Slot<Real>*>(array);
  const long double rate = slots[0].value;
  if (rate <= -1) qrtWriteERRmsg(lowDiscountRate, 0, "PRESENT-VALUE");
  long double sum = 0, discount = 1;
  for (int32_t i = 1; i < count; ++i) {
    discount *= 1 + rate;
    sum += slots[i].value / discount;
  }
  store<Real>(sum, result);
}

template <typename Real>
void variance(int32_t count, void* result, long double mean, const void* array) {
  store<Real>(varianceOf<Real>(count, mean, array), result);
}

template <typename Real>
void standardDeviation(int32_t count, void* result, long double mean, const void* array) {
  store<Real>(std::sqrt(varianceOf<Real>(count, mean, array)), result);
}

#define INSTANCES(Real)                                                   \
  template void presentValue<Real>(int32_t, void*, const void*);          \
  template void variance<Real>(int32_t, void*, long double, const void*); \
  template void standardDeviation<Real>(int32_t, void*, long double, const void*);
INSTANCES(double)
INSTANCES(long double)
#undef INSTANCES

}  // namespace qrt::intrinsic
