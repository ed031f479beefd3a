// Byte maps between the two sides of the pair, for texts that need no state.
#include "nls/converter.h"
#include "nls/sides.h"

namespace qrt::nls {
namespace {

DirectMap maps[2];  // from the ASCII side, from the EBCDIC side

constexpr int32_t mostUnits = 8;  // that one byte may become

uint16_t imageOf(uint8_t byte, UConverter* source, UConverter* target) {
  UErrorCode status = U_ZERO_ERROR;
  UChar units[mostUnits];
  const char in = static_cast<char>(byte);
  const int32_t count = ucnv_toUChars(source, units, mostUnits, &in, 1, &status);
  char out[mostUnits];
  const int32_t bytes = ucnv_fromUChars(target, out, mostUnits, units, count, &status);
  return U_SUCCESS(status) && bytes == 1 ? static_cast<uint8_t>(out[0]) : DirectMap::notDirect;
}

// Which bytes of a side stand for themselves wherever they are.
int32_t independentBytes(UConverter* side) {
  if (ucnv_getMaxCharSize(side) == 1) return 256;
  return ucnv_getType(side) == UCNV_UTF8 ? 128 : 0;
}

}  // namespace

const DirectMap& directMap(int32_t from, UConverter* source, UConverter* target) {
  DirectMap& map = maps[from == asciiSide ? 0 : 1];
  if (map.made) return map;
  map = {.made = true, .complete = true, .partial = false, .image = {}};
  const int32_t sourceBytes = independentBytes(source), targetBytes = independentBytes(target);
  for (int32_t byte = 0; byte < 256; ++byte) {
    uint16_t image = DirectMap::notDirect;
    if (byte < sourceBytes) image = imageOf(static_cast<uint8_t>(byte), source, target);
    if (image >= targetBytes) image = DirectMap::notDirect;
    map.image[byte] = image;
    if (image == DirectMap::notDirect)
      map.complete = false;
    else
      map.partial = true;
  }
  return map;
}

bool mapDirectly(const DirectMap& map, const uint8_t* source, uint8_t* target, int32_t count) {
  if (!map.complete) {
    if (!map.partial) return false;
    uint32_t seen = 0;  // looked at first: the target may lie on the source
    for (int32_t i = 0; i < count; ++i) seen |= map.image[source[i]];
    if ((seen & DirectMap::notDirect) != 0) return false;
  }
  for (int32_t i = 0; i < count; ++i) target[i] = static_cast<uint8_t>(map.image[source[i]]);
  return true;
}

void forgetDirectMaps() {
  for (DirectMap& map : maps) map.made = false;
}

}  // namespace qrt::nls
