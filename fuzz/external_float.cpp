// Arbitrary texts and control blocks through the conversion of external floating-point items, and what they
// come to through the way back: each as the plain twins do it.
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <memory>

#include "decimal/plain_float.h"

namespace {

using namespace qrt::decimal;

long double checkValue(const QrtExternalFloatSource& control, const std::string& text) {
  const auto exact = std::make_unique<uint8_t[]>(text.size());  // a sanitizer sees the first byte beyond
  memcpy(exact.get(), text.data(), text.size());
  const PlainFloat expected = plainExternalValue(control, text);
  std::string area(16, '\xEE');
  if (_qrtcConvExtFltToIntFlt(&control, exact.get(), area.data(), 0) != expected.result) abort();
  if (area != plainStored(expected, control.targetSize)) abort();
  return expected.value;
}

void checkText(const QrtExternalFloat& control, long double value) {
  const size_t size = std::abs(control.length);
  const auto item = std::make_unique<uint8_t[]>(size);
  _qrtcConvIntEFltToExtFlt(&control, &value, item.get());
  if (memcmp(item.get(), plainExternal(control, value).data(), size) != 0) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Digits ahead of and behind the point, target size, a byte of choices, decimal point, the text.
  if (size < 5) return 0;
  const auto before = static_cast<int16_t>(data[0] % 24), after = static_cast<int16_t>(data[1] % 24);
  const std::string text(reinterpret_cast<const char*>(data) + 5, size - 5);
  const auto length = static_cast<int16_t>(data[3] & 1 ? -static_cast<int32_t>(text.size()) : text.size());
  const QrtExternalFloatSource source = {length, 0, before, data[2]};
  const long double value = checkValue(source, text);
  const QrtExternalFloat target = {static_cast<int16_t>(data[3] & 2 ? -(data[3] >> 2) : data[3] >> 2),
                                   after,
                                   static_cast<int16_t>(before + after == 0 ? 1 : before),
                                   static_cast<uint8_t>(data[4] & 1 ? '-' : '+'),
                                   static_cast<uint8_t>(data[4] & 2 ? '-' : '+'),
                                   data[4]};
  checkText(target, value);
  return 0;
}
