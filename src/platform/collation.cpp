#include "platform/collation.h"

#include <langinfo.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>

#include <new>

namespace qrt::platform {

struct Collation {
  locale_t locale;
  bool isUtf8;
};

namespace {

// The calling thread's locale, put back at the end of the scope.
class Within {
 public:
  explicit Within(const Collation& collation) : previous(uselocale(collation.locale)) {}
  ~Within() { uselocale(previous); }
  Within(const Within&) = delete;
  Within& operator=(const Within&) = delete;

 private:
  locale_t previous;
};

}  // namespace

Collation* openCollation(const char* name) {
  locale_t locale = newlocale(LC_ALL_MASK, name, nullptr);
  if (locale == nullptr) return nullptr;
  void* block = malloc(sizeof(Collation));
  if (block == nullptr) {
    freelocale(locale);
    return nullptr;
  }
  return new (block) Collation{locale, strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0};
}

void closeCollation(Collation* collation) {
  if (collation == nullptr) return;
  freelocale(collation->locale);
  free(collation);
}

int32_t characterAt(const Collation& collation, const uint8_t* at, const uint8_t* limit, int32_t& length) {
  length = 1;
  if (*at < 0x80 && collation.isUtf8) return *at;
  const Within within(collation);
  mbstate_t state = {};
  wchar_t character;
  const size_t bytes =
      mbrtowc(&character, reinterpret_cast<const char*>(at), static_cast<size_t>(limit - at), &state);
  if (bytes > static_cast<size_t>(limit - at)) return -1;
  if (bytes > 0) length = static_cast<int32_t>(bytes);
  return bytes > 0 ? static_cast<int32_t>(character) : 0;
}

bool isBlank(const Collation& collation, int32_t character) {
  return iswblank_l(static_cast<wint_t>(character), collation.locale) != 0;
}
bool isPrintable(const Collation& collation, int32_t character) {
  return iswprint_l(static_cast<wint_t>(character), collation.locale) != 0;
}
bool isAlphanumeric(const Collation& collation, int32_t character) {
  return iswalnum_l(static_cast<wint_t>(character), collation.locale) != 0;
}
int32_t foldUp(const Collation& collation, int32_t character) {
  return static_cast<int32_t>(towupper_l(static_cast<wint_t>(character), collation.locale));
}

int32_t encode(const Collation& collation, int32_t character, uint8_t* to) {
  const Within within(collation);
  mbstate_t state = {};
  const size_t bytes = wcrtomb(reinterpret_cast<char*>(to), static_cast<wchar_t>(character), &state);
  return bytes <= static_cast<size_t>(longestEncoding) ? static_cast<int32_t>(bytes) : 0;
}

std::string_view decimalPoint(const Collation& collation) {
  return nl_langinfo_l(RADIXCHAR, collation.locale);
}
std::string_view digitSeparator(const Collation& collation) {
  return nl_langinfo_l(THOUSEP, collation.locale);
}

size_t sortBytes(const Collation& collation, const int32_t* characters, size_t count, uint8_t* scratch,
                 uint8_t* to, size_t room) {
  const Within within(collation);
  auto* text = reinterpret_cast<char*>(scratch);
  size_t length = 0;
  mbstate_t state = {};
  for (size_t index = 0; index < count; ++index) {
    if (characters[index] == 0) continue;  // a text of the C library ends there
    const size_t bytes = wcrtomb(text + length, static_cast<wchar_t>(characters[index]), &state);
    if (bytes != static_cast<size_t>(-1)) length += bytes;
  }
  text[length] = 0;
  const size_t needed = strxfrm_l(reinterpret_cast<char*>(to), text, room, collation.locale);
  if (needed < room) return needed;
  // The function leaves a result that doesn't fit undefined.
  auto* whole = static_cast<char*>(malloc(needed + 1));
  if (whole == nullptr) return 0;
  strxfrm_l(whole, text, needed + 1, collation.locale);
  memcpy(to, whole, room);
  free(whole);
  return room;
}

}  // namespace qrt::platform
