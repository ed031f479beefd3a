// Numbers of the messages, and the writer behind them.
#pragma once

#include <cstdarg>

#include "qrtrlib.h"

namespace qrt::frame {

inline constexpr int32_t invalidSign = 39;
inline constexpr int32_t invalidSeparateSign = 40;
inline constexpr int32_t divisionByZero = 902;
inline constexpr int32_t invalidDigit = 903;
inline constexpr int32_t outOfMemory = 907;

}  // namespace qrt::frame
