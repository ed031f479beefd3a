// The locale of the system and of the process.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qrt::platform {

// The environment's locale in the long form of catalogue look-up, as in "English_United States.1252": the
// name of the language and country (unset, C, POSIX and en: English, es: Spanish_Spain, zh: Chinese_China,
// ja: Japanese_Japan, others as they are given), a dot, and the code set. Terminated, cut to `capacity`.
void systemLocaleName(char* name, size_t capacity);

// Whether the system knows a locale of that name.
bool isKnownLocale(const char* name);

// Takes the process's locale from the environment; one that the system doesn't know leaves it as it is.
void adoptSystemLocale();

// The name of the code set of the process's locale. The text holds until the locale changes.
const char* codeSetName();

// The name of the locale of characters that the environment asks for, which the process takes; the name of
// the one in force when the system doesn't know it. The text holds until the locale changes.
const char* characterLocale();

// Bytes of the longest character in the process's locale.
int32_t longestCharacter();
// The same in the locale of that name; the process's for one that the system doesn't know.
int32_t longestCharacter(const char* locale);

// By the process's locale.
char toUpper(char letter);

// The order of two terminated texts under the process's collation: below, at or above 0.
int32_t collate(const char* first, const char* second);

// Switches the process's collation and puts it back at the end of the scope. A locale that the system doesn't
// know changes nothing.
class CollationSwitch {
 public:
  explicit CollationSwitch(const char* locale);
  ~CollationSwitch();
  CollationSwitch(const CollationSwitch&) = delete;
  CollationSwitch& operator=(const CollationSwitch&) = delete;

 private:
  char* previous;
};

}  // namespace qrt::platform
