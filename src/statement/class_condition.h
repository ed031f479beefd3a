// Class conditions: NUMERIC, ALPHABETIC and its kin, and classes of the program's own. The inner functions
// behind the _qrtcClas, _qrtuClas and _qrtuSClas entries, with their arguments (see qrtrlib.h): each gives 1
// when the class holds and 0 otherwise.
#pragma once

#include <cstdint>

namespace qrt::statement {

int32_t isPackedDecimal(uint32_t flags, const uint8_t* item, int32_t length);
int32_t isZonedDecimal(uint32_t flags, const uint8_t* item, int32_t length);
int32_t isAlphabetic(const uint8_t* item, int32_t length);
int32_t isUpper(const uint8_t* item, int32_t length);
int32_t isLower(const uint8_t* item, int32_t length);
int32_t isOfUserClass(const uint8_t* item, int32_t length, const uint8_t* table);

// On UTF-16; lengths are in bytes, items need no alignment.
int32_t isNationalNumeric(const void* item, int32_t length);
int32_t isNationalSignedNumeric(uint32_t flags, const void* item, int32_t length);
int32_t isNationalAlphabetic(const void* item, int32_t length);
int32_t isNationalUpper(const void* item, int32_t length);
int32_t isNationalLower(const void* item, int32_t length);

}  // namespace qrt::statement
