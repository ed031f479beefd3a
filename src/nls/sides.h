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

// A map of single bytes from one side of the pair to the other. A byte whose image isn't one byte, or not by
// itself, isn't direct.
struct DirectMap {
  bool made;
  int32_t directBytes;  // how many there are
  bool isDirect[256];
  uint8_t image[256];
};

// False, and nothing done, when a byte isn't direct.
bool mapDirectly(const DirectMap& map, const uint8_t* source, uint8_t* target, int32_t count);

// The map of each direction. The converters themselves make it; that is done at first use.
inline DirectMap directMaps[2];

inline const DirectMap& directMap(int32_t from) {
  return directMaps[from == asciiSide ? 0 : 1];
}

void makeDirectMap(int32_t from, UConverter* source, UConverter* target);

void forgetDirectMaps();

}  // namespace qrt::nls
