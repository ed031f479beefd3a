// Numbers of the messages that the library names itself, and the way to a text of the message catalogue.
#pragma once

#include <stdint.h>

namespace qrt::frame::message {

inline constexpr int32_t invalidSign = 39;
inline constexpr int32_t invalidSeparateSign = 40;
inline constexpr int32_t floatOverflow = 53;
inline constexpr int32_t notANumber = 54;
inline constexpr int32_t floatUnderflow = 55;
inline constexpr int32_t badDate = 160;
inline constexpr int32_t badDayOfYear = 161;
inline constexpr int32_t noGenerator = 202;
inline constexpr int32_t noEraTable = 206;
inline constexpr int32_t eraTables = 216;
inline constexpr int32_t exitNotice = 901;
inline constexpr int32_t divisionByZero = 902;
inline constexpr int32_t invalidDigit = 903;
inline constexpr int32_t outOfMemory = 907;
inline constexpr int32_t noSpace = 993;
inline constexpr int32_t notFound = 994;
inline constexpr int32_t signalTrapped = 995;
inline constexpr int32_t controlRecord = 9999;

}  // namespace qrt::frame::message

namespace qrt::frame {

// The text of a message as it stands in the catalogue, without its severity; null where the catalogue or the
// message is missing. Variants count from 1. The text lives as long as the catalogue is open.
const char* messageText(int32_t number, uint32_t variant);

}  // namespace qrt::frame
