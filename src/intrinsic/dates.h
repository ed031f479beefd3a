// The intrinsic functions on dates: the inner functions behind the entries of those names, with their
// arguments (see qrtrlib.h).
#pragma once

#include <stdint.h>

namespace qrt::intrinsic {

void currentDate(uint8_t* result);

int32_t dateOfInteger(int32_t integerDate);
int32_t dayOfInteger(int32_t integerDate);
int32_t integerOfDate(int32_t date);
int32_t integerOfDay(int32_t day);

void yearToYYYY(int32_t year, int32_t offset, uint8_t* result, const char* function);
void dayToYYYYDDD(int32_t day, int32_t offset, uint8_t* result);
void dateToYYYYMMDD(int32_t date, int32_t offset, uint8_t* result);

}  // namespace qrt::intrinsic
