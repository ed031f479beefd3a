// LOWER-CASE, UPPER-CASE and REVERSE. The inner functions behind the entries of these names, with their
// arguments (see qrtrlib.h).
#pragma once

#include <cstdint>

namespace qrt::intrinsic {

void toLower(int32_t length, const uint8_t* source, uint8_t* destination);
void toUpper(int32_t length, const uint8_t* source, uint8_t* destination);

// Of units of one or two bytes; the length is in bytes.
template <typename Unit>
void reverse(int32_t length, const void* source, void* destination);

}  // namespace qrt::intrinsic
