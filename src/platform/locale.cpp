// The locale of the system and of the process.
#include "platform/locale.h"

#include <ctype.h>
#include <langinfo.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string_view>

namespace qrt::platform {
namespace {

const char* environmentLocale() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"})
    if (const char* value = getenv(variable); value != nullptr && *value != 0) return value;
  return "C";
}

std::string_view longNameOf(std::string_view language) {
  if (language == "C" || language == "POSIX" || language.starts_with("en_")) return "English_United States";
  if (language.starts_with("es_")) return "Spanish_Spain";
  if (language.starts_with("zh_")) return "Chinese_China";
  if (language.starts_with("ja_")) return "Japanese_Japan";
  return language;
}

}  // namespace

void systemLocaleName(char* name, size_t capacity) {
  constexpr std::string_view unknownCodeSet = "1252";
  const char* const locale = environmentLocale();
  const std::string_view whole = locale;
  const std::string_view tag = whole.substr(0, whole.find('@'));
  const size_t dot = tag.find('.');
  const std::string_view language = tag.substr(0, dot);
  const bool bare = dot == std::string_view::npos && (language == "C" || language == "POSIX");

  std::string_view codeSet = dot == std::string_view::npos ? unknownCodeSet : tag.substr(dot + 1);
  // The system's own spelling counts where it knows the locale.
  const locale_t known = bare ? locale_t{} : newlocale(LC_CTYPE_MASK, locale, locale_t{});
  if (known != locale_t{}) codeSet = nl_langinfo_l(CODESET, known);
  const std::string_view longName = longNameOf(language);
  snprintf(name, capacity, "%.*s.%.*s", static_cast<int>(longName.size()), longName.data(),
           static_cast<int>(codeSet.size()), codeSet.data());
  if (known != locale_t{}) freelocale(known);
}

bool isKnownLocale(const char* name) {
  const locale_t known = newlocale(LC_ALL_MASK, name, locale_t{});
  if (known != locale_t{}) freelocale(known);
  return known != locale_t{};
}

void adoptSystemLocale() {
  setlocale(LC_ALL, "");
}

const char* codeSetName() {
  return nl_langinfo(CODESET);
}

const char* characterLocale() {
  const char* const name = setlocale(LC_CTYPE, "");
  return name != nullptr ? name : setlocale(LC_CTYPE, nullptr);
}

int32_t longestCharacter() {
  return static_cast<int32_t>(MB_CUR_MAX);
}

int32_t longestCharacter(const char* locale) {
  locale_t const named = newlocale(LC_CTYPE_MASK, locale, nullptr);
  if (named == nullptr) return longestCharacter();
  locale_t const previous = uselocale(named);
  const int32_t longest = longestCharacter();
  uselocale(previous);
  freelocale(named);
  return longest;
}

char toUpper(char letter) {
  return static_cast<char>(toupper(static_cast<unsigned char>(letter)));
}

int32_t collate(const char* first, const char* second) {
  return strcoll(first, second);
}

CollationSwitch::CollationSwitch(const char* locale) : previous(strdup(setlocale(LC_COLLATE, nullptr))) {
  setlocale(LC_COLLATE, locale);
}

CollationSwitch::~CollationSwitch() {
  if (previous != nullptr) setlocale(LC_COLLATE, previous);
  free(previous);
}

}  // namespace qrt::platform
