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

// The two ways of a selection, with the pivot in the first place: a pivot is chosen, and a partition moves
// what lies below it to the left and the pivot behind that, whose place it returns. There is no branch on a
// comparison with the pivot, since it would be mispredicted half of the time.

// Of extended values, whose order the caller sees: the pivot comes from the middle, and what lies below it
// changes places with the first element that doesn't.
void choosePivot(ExtendedSlot* low, ExtendedSlot* high) {
  std::swap(*low, low[(high - low) / 2]);
}

ExtendedSlot* partition(ExtendedSlot* low, ExtendedSlot* high) {
  const long double pivot = low->value;
  ExtendedSlot* lastBelow = low;
  for (ExtendedSlot* at = low + 1; at <= high; ++at) {
    const int32_t below = at->value < pivot;
    __m128i element, other;
    memcpy(&element, at, sizeof element);
    memcpy(&other, lastBelow + 1, sizeof other);
    const __m128i change = _mm_and_si128(_mm_xor_si128(element, other), _mm_set1_epi32(-below));
    element = _mm_xor_si128(element, change);
    other = _mm_xor_si128(other, change);
    memcpy(at, &element, sizeof element);
    memcpy(lastBelow + 1, &other, sizeof other);
    lastBelow += below;
  }
  std::swap(*low, *lastBelow);
  return lastBelow;
}

// Of a copy, in whose order nobody is interested: the pivot is the median of three medians of three, and each
// element changes places with the first one that isn't below, also when it isn't below itself.
DoubleSlot* medianOfThree(DoubleSlot* first, DoubleSlot* second, DoubleSlot* third) {
  if (second->value < first->value) std::swap(first, second);
  if (third->value < second->value) second = third->value < first->value ? first : third;
  return second;
}

void choosePivot(DoubleSlot* low, DoubleSlot* high) {
  const ptrdiff_t step = (high - low) / 8;
  DoubleSlot* medians[3];
  for (int32_t i = 0; i < 3; ++i) {
    DoubleSlot* const first = low + 3 * i * step;
    medians[i] = medianOfThree(first, first + step, first + 2 * step);
  }
  std::swap(*low, *medianOfThree(medians[0], medians[1], medians[2]));
}

DoubleSlot* partition(DoubleSlot* low, DoubleSlot* high) {
  const double pivot = low->value;
  DoubleSlot* firstNotBelow = low + 1;
  for (DoubleSlot* at = low + 1; at <= high; ++at) {
    const double element = at->value;
    at->value = firstNotBelow->value;
    firstNotBelow->value = element;
    firstNotBelow += element < pivot;
  }
  std::swap(*low, firstNotBelow[-1]);
  return firstNotBelow - 1;
}

// Puts the element of rank `middle` of an ascending order in its place, with none above it ahead of it and
// none below it behind it. Returns the end of the range behind it that was still in question: what lies
// behind that isn't below what lies in it.
template <typename Element>
Element* select(Element* low, Element* middle, Element* high) {
  // Where the pivots are bad, as for equal elements, another selection takes over before the time is
  // quadratic.
  int32_t badRoundsLeft = 64;
  while (badRoundsLeft > 0) {
    const ptrdiff_t range = high - low + 1;
    choosePivot(low, high);
    Element* const pivot = partition(low, high);
    if (pivot == middle) return high;
    if (pivot < middle)
      low = pivot + 1;
    else
      high = pivot - 1;
    if (range - (high - low + 1) < (range + 7) / 8) --badRoundsLeft;
  }
  std::nth_element(low, middle, high + 1,
                   [](const Element& a, const Element& b) { return a.value < b.value; });
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
long double squareOfDeviation(const Slot<Real>& slot, long double mean) {
  const long double deviation = slot.value - mean;
  return deviation * deviation;
}

template <typename Real>
long double varianceOf(int32_t count, long double mean, const void* array) {
  const auto* const slots = static_cast<const Slot<Real>*>(array);
  // An extended addition takes several times as long as a double one, so that each has to wait for the one
  // before. Over many doubles every fourth goes to the same sum: the sums differ in their last bits, which a
  // double hardly ever shows.
  constexpr int32_t many = sizeof(Real) == sizeof(double) ? 256 : INT32_MAX;
  long double sum = 0, sum1 = 0, sum2 = 0, sum3 = 0;
  int32_t i = 0;
  if (count >= many)
    for (; i + 4 <= count; i += 4) {
      sum += squareOfDeviation(slots[i], mean);
      sum1 += squareOfDeviation(slots[i + 1], mean);
      sum2 += squareOfDeviation(slots[i + 2], mean);
      sum3 += squareOfDeviation(slots[i + 3], mean);
    }
  sum += sum1 + sum2 + sum3;
  for (; i < count; ++i) sum += squareOfDeviation(slots[i], mean);
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
