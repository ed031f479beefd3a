// What the statements need to know of a text stream beyond the standard library's own calls.
#pragma once

#include <stdint.h>
#include <stdio.h>

namespace qrt::platform {

// True for a terminal: input comes line by line from somebody who waits.
bool isInteractive(FILE* stream);

// The next character of the stream in the encoding of the process's locale, or -1 at its end, on a read error
// and on bytes that are no character, errno telling the latter. Byte and wide reads of one stream mix freely.
int32_t readWideCharacter(FILE* stream);

}  // namespace qrt::platform
