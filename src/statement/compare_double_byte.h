// Comparison of double-byte text by the locale, and its move between items that may overlap. The inner
// functions behind the _qrtcDBCS entries, with their arguments (see qrtrlib.h).
#pragma once

#include <cstdint>

namespace qrt::statement {

int32_t compareDoubleByte(const uint8_t* op1, int32_t length1, const uint8_t* op2, int32_t length2);
int32_t compareDoubleByteWithFigurative(const uint8_t* op, int32_t length, const uint8_t* figurative,
                                        int32_t figurativeLength);
void moveDoubleByteVarLenOverlap(uint8_t* target, int32_t targetLength, const uint8_t* source,
                                 int32_t sourceLength);

}  // namespace qrt::statement
