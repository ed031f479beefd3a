// The refresh of independent segments. The inner functions behind the _qrtcRfsh entries, with their arguments
// (see qrtrlib.h).
#pragma once

#include <cstdint>

namespace qrt::statement {

void refreshSegment(uint8_t segment, int32_t count, uint32_t* live, const uint32_t* initial,
                    const uint8_t* segments);
void refreshOnTransfer(uint8_t current, int32_t count, uint8_t target, uint32_t* live,
                       const uint32_t* initial, const uint8_t* segments);
void refreshOnGoDepending(int32_t index, uint8_t current, int32_t count, const uint8_t* targets,
                          uint32_t* live, const uint32_t* initial, const uint8_t* segments);

}  // namespace qrt::statement
