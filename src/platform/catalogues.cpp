// Finding of message catalogues, and look-up in them.
#include "platform/catalogues.h"

#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <string_view>

#include "platform/locale.h"
#include "platform/paths.h"

namespace qrt::platform {
namespace {

constexpr size_t headerBytes = 32;
constexpr size_t countOffset = 30;

struct Entry {
  uint16_t number;
  uint16_t variant;
  uint32_t textOffset;
};
static_assert(sizeof(Entry) == 8);

// The part of a path that names the language, as in ENUS1252; empty for a language without catalogues.
struct LanguagePart {
  char text[80] = "";

  LanguagePart() {
    static constexpr struct {
      std::string_view start;
      const char* tag;
    } languages[] = {
        {"English_United States", "ENUS"}, {"Spanish", "ESES"}, {"Chinese", "ZHCN"}, {"Japanese", "JAJP"}};
    char name[64];
    systemLocaleName(name, sizeof(name));
    const char* dot = strrchr(name, '.');
    for (const auto& language : languages)
      if (std::string_view(name).starts_with(language.start))
        snprintf(text, sizeof(text), "%s%s", language.tag, dot != nullptr ? dot + 1 : "");
  }
};

bool endsWithIgnoringCase(std::string_view text, std::string_view ending) {
  return text.size() >= ending.size() &&
         strncasecmp(text.data() + text.size() - ending.size(), ending.data(), ending.size()) == 0;
}

// Takes the part that stands for the catalogue's name from the end of a template; false when there is none.
bool takeNamePart(std::string_view& pattern) {
  for (const std::string_view part : {"%n.cat", "%n"}) {
    if (!endsWithIgnoringCase(pattern, part)) continue;
    pattern.remove_suffix(part.size());
    return true;
  }
  return false;
}

// The path that a template stands for; `folder` is what lies in front of its name part.
NativePath expand(std::string_view folder, std::string_view language, std::string_view name) {
  NativePath path;
  while (!folder.empty()) {
    const bool isLanguage = folder.starts_with("%l") || folder.starts_with("%L");
    path.append(isLanguage ? language : folder.substr(0, 1));
    folder.remove_prefix(isLanguage ? 2 : 1);
  }
  path.append(name);
  return path;
}

FILE* openFirst(std::string_view templates, std::string_view language, std::string_view name) {
  while (!templates.empty()) {
    std::string_view pattern = templates.substr(0, templates.find(';'));
    templates.remove_prefix(std::min(pattern.size() + 1, templates.size()));
    if (!takeNamePart(pattern)) continue;
    const NativePath path = expand(pattern, language, name);
    if (!path.fits) continue;
    if (FILE* file = fopen(path.text, "rb")) return file;
  }
  return nullptr;
}

}  // namespace

FILE* openCatalogue(const char* name) {
  const LanguagePart language;
  const char* templates = getenv("NLSPATH");
  if (language.text[0] == 0 || templates == nullptr) return nullptr;
  return openFirst(templates, language.text, name);
}

const char* findCatalogueText(const char* bytes, size_t size, uint32_t number, uint32_t variant) {
  if (size < headerBytes) return nullptr;
  uint16_t count;
  memcpy(&count, bytes + countOffset, sizeof(count));
  const size_t readable = std::min<size_t>(count, (size - headerBytes) / sizeof(Entry));
  for (size_t index = 0; index < readable; ++index) {
    Entry entry;
    memcpy(&entry, bytes + headerBytes + index * sizeof(Entry), sizeof(Entry));
    if (entry.number == number && entry.variant == variant)
      return entry.textOffset < size ? bytes + entry.textOffset : nullptr;
  }
  return nullptr;
}

const char* textProper(const char* catalogued) {
  return catalogued + strnlen(catalogued, 2);
}

}  // namespace qrt::platform
