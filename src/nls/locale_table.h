// What the locale table has beside its rows.
#pragma once

#include <stdint.h>

namespace qrt::nls {

inline constexpr int32_t fallbackRow = 8;  // EN_US, for a locale that the table doesn't know

}  // namespace qrt::nls
