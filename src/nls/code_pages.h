// The pair of code pages of a process, and what follows from it. The services are exported under their own
// names (see qrtrlib.h); here is what other rooms take beside them.
#pragma once

#include <stdint.h>

namespace qrt::nls {

// The two bytes of the double-byte space of the process's locale. Settles the pair where it isn't yet.
const uint8_t* doubleByteSpace();

// Whether this process record has its pair.
bool isPairSettled();

// Gives the current run unit the settled pair if it has none yet.
void adoptCodePages();

// The pair of names as settled: locale in the form ll_CC.code-set, and EBCDIC code page.
const char* settledLocaleName();
const char* settledEbcdicCodePage();

// Hands ICU the directories of PATH for its data, once in the life of the process.
void setDataDirectoryOnce();

}  // namespace qrt::nls
