// Comparison of text under a collating sequence and with figurative constants. The inner functions behind
// _qrtcCmpACS and _qrtcCmpMultiByteFig, with their arguments (see qrtrlib.h).
#pragma once

#include <cstdint>

namespace qrt::statement {

// A text that stands for its endless repetition.
struct Repeated {
  const uint8_t* bytes;
  uint32_t size;
};

// -1, 0 or 1: the order of the first two bytes that `table` tells apart. Both texts have `size` bytes.
int32_t orderThroughTable(const uint8_t* first, const uint8_t* second, uint32_t size, const uint8_t* table);

int32_t compareCollated(const uint8_t* op1, int32_t length1, const uint8_t* op2, int32_t length2,
                        const uint8_t* table);
int32_t compareWithFigurative(const uint8_t* op, int32_t length, const uint8_t* figurative,
                              int32_t figurativeLength);

}  // namespace qrt::statement
