// Message catalogues: found through NLSPATH in the language of the system's locale, read, looked up.
//
// A catalogue file is 32 bytes of header with the 16-bit count of entries at offset 30; entries of 8 bytes
// with number (16 bits), variant (16 bits, from 1) and offset of the text in the file (32 bits); the texts,
// each ended by a zero byte. Nothing in it is trusted.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

namespace qrt::platform {

// Bytes of a catalogue that a reader takes in.
inline constexpr size_t mostCatalogueBytes = 10480;

// Opens the first file that a template of NLSPATH leads to; null when there is none, or when the language of
// the system's locale has no catalogues. In the templates, %l is the language with the code set, %n or %n.cat
// at the end `name`.
FILE* openCatalogue(const char* name);

// The text of an entry in the first `size` bytes of a catalogue, which are followed by a zero byte. Null when
// there is no such entry or its text lies outside.
const char* findCatalogueText(const char* bytes, size_t size, uint32_t number, uint32_t variant);

// What stands behind a text's severity digit and blank.
const char* textProper(const char* catalogued);

}  // namespace qrt::platform
