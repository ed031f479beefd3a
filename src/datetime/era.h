// The names in a table of eras.
#pragma once

#include <stddef.h>

#include "qrtrlib.h"

namespace qrt::datetime {

// Names of the era at `index`, 0 for the first: filled up with blanks to the width of the field, and ended by
// a zero byte.
inline const char* namesOf(const DTSZera_table& table) {
  return reinterpret_cast<const char*>(&table.count + 1) + static_cast<size_t>(table.count) * sizeof(DTSZera);
}

inline const char* japaneseName(const DTSZera_table& table, int32_t index) {
  return namesOf(table) + index * (QRT_JAPANESE_NAME + 1);
}

inline const char* shortChineseName(const DTSZera_table& table, int32_t index) {
  return namesOf(table) + index * (QRT_CHINESE_SHORT_NAME + 1);
}

inline const char* longChineseName(const DTSZera_table& table, int32_t index) {
  return shortChineseName(table, table.count) + index * (QRT_CHINESE_LONG_NAME + 1);
}

}  // namespace qrt::datetime
