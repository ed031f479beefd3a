// Characters and their order by a locale other than the process's.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace qrt::platform {

struct Collation;

// Null when the system doesn't know the locale or has no memory.
Collation* openCollation(const char* locale);
void closeCollation(Collation* collation);

// The character at `at`, or -1 for bytes that are none; `length` gets its bytes, 1 at least.
int32_t characterAt(const Collation& collation, const uint8_t* at, const uint8_t* limit, int32_t& length);

bool isBlank(const Collation& collation, int32_t character);
bool isPrintable(const Collation& collation, int32_t character);
bool isAlphanumeric(const Collation& collation, int32_t character);
int32_t foldUp(const Collation& collation, int32_t character);

// The bytes of a character at `to`; 0 for one that the locale can't write.
inline constexpr int32_t longestEncoding = 16;
int32_t encode(const Collation& collation, int32_t character, uint8_t* to);

// What stands in front of a fraction, and between groups of digits: a character of any length, or nothing.
std::string_view decimalPoint(const Collation& collation);
std::string_view digitSeparator(const Collation& collation);

// The bytes by which the text sorts, cut to `room`; `count` characters are given, `scratch` has room for 4
// bytes for each of them and one. Returns how many bytes there are.
size_t sortBytes(const Collation& collation, const int32_t* characters, size_t count, uint8_t* scratch,
                 uint8_t* to, size_t room);

}  // namespace qrt::platform
