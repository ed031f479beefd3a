// ICU converters by the system's names of code pages.
#include "nls/converter.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace qrt::nls {
namespace {

constexpr std::string_view family = "QMC-", swappedLineFeed = "-kx70";

// The maker's platform whose pages ICU knows by number.
constexpr auto numberedPlatform = static_cast<UConverterPlatform>(0);

constexpr char folded(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

bool equalFolded(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return folded(x) == folded(y); });
}

struct NumberedPage {
  int32_t number;
  bool swapsLineFeed;
};

std::optional<NumberedPage> numberedPage(std::string_view name) {
  if (!equalFolded(name.substr(0, family.size()), family)) return {};
  name.remove_prefix(family.size());
  int32_t number = 0;
  const auto [end, fault] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (fault != std::errc{} || number < 0) return {};
  name.remove_prefix(static_cast<size_t>(end - name.data()));
  if (!name.empty() && !equalFolded(name, swappedLineFeed)) return {};
  return NumberedPage{number, !name.empty()};
}

// ICU's name of a numbered page: letters, a hyphen, the page's own number, and what tells its version.
std::optional<std::string_view> afterMaker(const UConverter* converter, std::string_view name) {
  const size_t hyphen = name.find('-');
  if (hyphen == std::string_view::npos) return {};
  int32_t number = 0;
  const char* const start = name.data() + hyphen + 1;
  const auto [end, fault] = std::from_chars(start, name.data() + name.size(), number);
  UErrorCode status = U_ZERO_ERROR;
  if (fault != std::errc{} || number != ucnv_getCCSID(converter, &status)) return {};
  return name.substr(hyphen);
}

Converter openOption(const UConverter* page, const char* option, UErrorCode& status) {
  char name[UCNV_MAX_CONVERTER_NAME_LENGTH];
  const char* const canonical = ucnv_getName(page, &status);
  if (U_FAILURE(status) || strlen(canonical) + strlen(option) >= sizeof name) return {};
  strcpy(name, canonical);
  strcat(name, option);
  return Converter(ucnv_open(name, &status));
}

}  // namespace

Converter openConverter(std::string_view name, UErrorCode& status) {
  if (name.empty() || name.size() > longestCodePageName) {
    status = U_FILE_ACCESS_ERROR;  // what ICU says of a name that it doesn't know
    return {};
  }
  if (const auto page = numberedPage(name)) {
    Converter plain(ucnv_openCCSID(page->number, numberedPlatform, &status));
    if (plain == nullptr || !page->swapsLineFeed) return plain;
    return openOption(plain.get(), UCNV_SWAP_LFNL_OPTION_STRING, status);
  }
  char terminated[longestCodePageName + 1];
  terminated[name.copy(terminated, longestCodePageName)] = 0;
  return Converter(ucnv_open(terminated, &status));
}

int32_t toUnicode(UConverter* converter, const void* source, int32_t bytes, UChar* target, int32_t room,
                  UErrorCode& status) {
  ucnv_resetToUnicode(converter);
  const char* from = static_cast<const char*>(source);
  UChar* to = target;
  ucnv_toUnicode(converter, &to, target + room, &from, from + bytes, nullptr, true, &status);
  return static_cast<int32_t>(to - target);
}

int32_t fromUnicode(UConverter* converter, const UChar* source, int32_t units, void* target, int32_t room,
                    UErrorCode& status) {
  ucnv_resetFromUnicode(converter);
  char* const start = static_cast<char*>(target);
  char* to = start;
  ucnv_fromUnicode(converter, &to, start + room, &source, source + units, nullptr, true, &status);
  return static_cast<int32_t>(to - start);
}

int32_t canonicalName(const UConverter* converter, char* name, int32_t capacity) {
  UErrorCode status = U_ZERO_ERROR;
  const char* const given = ucnv_getName(converter, &status);
  if (U_FAILURE(status)) {
    name[0] = 0;
    return 0;
  }
  const auto tail = afterMaker(converter, given);
  const int32_t length =
      snprintf(name, static_cast<size_t>(capacity), "%s%s", tail ? "qmc" : "", tail ? tail->data() : given);
  return std::min(length, capacity - 1);
}

}  // namespace qrt::nls
