// ACCEPT and STOP with a literal. The inner functions behind the entries of those names, with their arguments
// (see qrtrlib.h).
#pragma once

#include <cstdint>

namespace qrt::statement {

void accept(uint8_t flags, int32_t length, uint8_t* receiver);
void acceptUnicode(uint8_t flags, const int32_t* length, void* receiver);
void stopLiteral(int32_t length, const char* text);

}  // namespace qrt::statement
