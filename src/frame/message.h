// Numbers of the messages, and the writer behind them.
#pragma once

#include <cstdarg>

#include "qrtrlib.h"

namespace qrt::frame {

inline constexpr int32_t outOfMemory = 907;

}  // namespace qrt::frame
