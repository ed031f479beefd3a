// SEARCH ALL. The inner function behind the entry _qrtcSrchAll, with its arguments (see qrtrlib.h).
#pragma once

#include <cstdint>

#include "qrtrlib.h"

namespace qrt::statement {

int32_t searchAll(const QrtSearchControl* control, const uint8_t* table, int32_t entryCount,
                  int32_t entrySize, const QrtSearchArgument* arguments, const int32_t* const* subscripts,
                  const void* programContext);

}  // namespace qrt::statement
