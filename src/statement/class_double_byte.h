// The class conditions KANJI and DBCS. The inner functions behind the entries of those names, with their
// arguments (see qrtrlib.h): each gives 1 when the class holds and 0 otherwise.
#pragma once

#include <cstdint>

namespace qrt::statement {

int32_t isKanji(const uint8_t* item, int32_t length);
int32_t isDoubleByte(const uint8_t* item, int32_t length);

}  // namespace qrt::statement
