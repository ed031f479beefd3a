// The two cached converters, one for each side of the pair.
#pragma once

#include <stdint.h>
#include <unicode/ucnv.h>

namespace qrt::nls {

// As the selectors of the conversion services.
inline constexpr int32_t asciiSide = 0, ebcdicSide = -1;

// The converter of a side, opened at first use and kept until qrtUTerm(). Null, with the status in Uerror and
// message 221 reported, when it can't be opened; each call tries again.
UConverter* converterOf(int32_t side);

// A map of single bytes from one side of the pair to the other. A byte whose image isn't one byte, or not
// by itself, has `notDirect` set.
struct DirectMap {
  static constexpr uint16_t notDirect = 0x100;
  bool made;
  bool complete;  // no byte is notDirect
  bool partial;   // some are
  uint16_t image[256];
};

// Bytes that aren't direct make a text one for the converters.
bool mapDirectly(const DirectMap& map, const uint8_t* source, uint8_t* target, int32_t count);

// Built at first use of that direction by the converters themselves.
const DirectMap& directMap(int32_t from, UConverter* source, UConverter* target);

void forgetDirectMaps();

}  // namespace qrt::nls
