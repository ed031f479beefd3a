// Byte maps between the two sides of the pair, for texts that need no state.
#include "nls/converter.h"
#include "nls/sides.h"

namespace qrt::nls {
namespace {

constexpr int32_t mostUnits = 8;  // that one byte may become

bool findImage(uint8_t byte, UConverter* source, UConverter* target, uint8_t& image) {
  UErrorCode status = U_ZERO_ERROR;
  UChar units[mostUnits];
  uint8_t out[mostUnits];
  const int32_t count = toUnicode(source, &byte, 1, units, mostUnits, status);
  const int32_t bytes = fromUnicode(target, units, count, out, mostUnits, status);
  image = out[0];
  return U_SUCCESS(status) && bytes == 1;
}

// Which bytes of a side stand for themselves wherever they are.
int32_t independentBytes(UConverter* side) {
  if (ucnv_getMaxCharSize(side) == 1) return 256;
  return ucnv_getType(side) == UCNV_UTF8 ? 128 : 0;
}

}  // namespace

void makeDirectMap(int32_t from, UConverter* source, UConverter* target) {
  DirectMap& map = directMaps[from == asciiSide ? 0 : 1];
  map = {.made = true, .directBytes = 0, .isDirect = {}, .image = {}};
  const int32_t sourceBytes = independentBytes(source), targetBytes = independentBytes(target);
  for (int32_t byte = 0; byte < sourceBytes; ++byte) {
    uint8_t& image = map.image[byte];
    map.isDirect[byte] = findImage(static_cast<uint8_t>(byte), source, target, image) && image < targetBytes;
    map.directBytes += map.isDirect[byte];
  }
}

bool mapDirectly(const DirectMap& map, const uint8_t* source, uint8_t* target, int32_t count) {
  if (map.directBytes == 0) return false;
  if (map.directBytes < 256)  // looked at first: the target may lie on the source
    for (int32_t i = 0; i < count; ++i)
      if (!map.isDirect[source[i]]) return false;
#pragma GCC unroll 8
  for (int32_t i = 0; i < count; ++i) target[i] = map.image[source[i]];
  return true;
}

void forgetDirectMaps() {
  for (DirectMap& map : directMaps) map.made = false;
}

}  // namespace qrt::nls
