// The locale of the system and of the process.
#pragma once

#include <stddef.h>

namespace qrt::platform {

// The environment's locale in the long form of catalogue look-up, as in "English_United States.1252": the
// name of the language and country (unset, C, POSIX and en: English, es: Spanish_Spain, zh: Chinese_China,
// ja: Japanese_Japan, others as they are given), a dot, and the code set. Terminated, cut to `capacity`.
void systemLocaleName(char* name, size_t capacity);

// Takes the process's locale from the environment; one that the system doesn't know leaves it as it is.
void adoptSystemLocale();

// The name of the code set of the process's locale. The text holds until the locale changes.
const char* codeSetName();

}  // namespace qrt::platform
