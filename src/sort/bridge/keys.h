// Types of sort keys, as the compiler numbers them and as the engine names them.
#pragma once

#include <cstdint>
#include <string_view>

#include "qrtrlib.h"

namespace qrt::sort::bridge {

struct KeyType {
  int32_t type;
  std::string_view word;  // of the option text; ends in a blank where the length follows
  int32_t minLength, maxLength;
  bool withTextInput;  // allowed when a line sequential file is sorted

  constexpr bool hasLength() const { return word.ends_with(' '); }
};

// Null for an unknown type.
const KeyType* findKeyType(int32_t type);

// Whether `inner` is a piece of `outer` that the engine can address: both of one type, of bytes or
// characters.
constexpr bool liesInside(const QrtSortKeySpec& inner, const QrtSortKeySpec& outer) {
  return inner.type == outer.type && (inner.type == QRT_SORT_KEY_CHAR || inner.type == QRT_SORT_KEY_BIN) &&
         inner.offset >= outer.offset && inner.offset + inner.length <= outer.offset + outer.length;
}

}  // namespace qrt::sort::bridge
