// The options of a run, from the environment variable COBRTOPT.
#pragma once

#include <stdint.h>

#include <string_view>

namespace qrt::frame {

inline constexpr int32_t unknownOption = 171;           // name
inline constexpr int32_t optionTakesNoSuchValue = 172;  // value, name
inline constexpr int32_t optionValueLength = 173;       // value, name, length
inline constexpr int32_t optionValueCharacters = 174;   // value, name
inline constexpr int32_t optionValueNumber = 181;       // value, name
inline constexpr int32_t optionValueRange = 182;        // value, name, lowest, highest

// Cuts `text` into option tokens in place: folded to upper case, without blanks and tabs, "(" read as "=".
// The tokens lie one behind the other from the start of `text`, each terminated. Returns how many there are.
uint32_t cutOptions(char* text);

}  // namespace qrt::frame
