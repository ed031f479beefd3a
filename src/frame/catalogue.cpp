// Opening and reading of message catalogues. A catalogue is 32 bytes of header with the count of entries, the
// entries, and the texts; nothing in it is trusted.
#include "frame/catalogue.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <string_view>

#include "frame/hosting.h"
#include "frame/message.h"
#include "platform/locale.h"
#include "platform/paths.h"

namespace {

constexpr size_t mostBytes = 10480;
constexpr size_t headerBytes = 32;
constexpr size_t countOffset = 30;

struct Entry {
  uint16_t number;
  uint16_t variant;
  uint32_t textOffset;
};
static_assert(sizeof(Entry) == 8);

}  // namespace

// Lives on the plain heap: it stays when the run unit that opened it has gone.
struct QrtCatalogue {
  FILE* file;
  size_t size;
  char bytes[mostBytes + 1];  // what was read, terminated
};

namespace qrt::frame {
namespace {

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
    platform::systemLocaleName(name, sizeof(name));
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
platform::NativePath expand(std::string_view folder, std::string_view language, std::string_view name) {
  platform::NativePath path;
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
    const platform::NativePath path = expand(pattern, language, name);
    if (!path.fits) continue;
    if (FILE* file = fopen(path.text, "rb")) return file;
  }
  return nullptr;
}

}  // namespace

char hostAbendText[80] = "";

const char* textProper(const char* catalogued) {
  return catalogued + strnlen(catalogued, 2);
}

const char* catalogueText(const QrtCatalogue* catalogue, uint32_t number, uint32_t variant,
                          const char* otherwise) {
  if (catalogue == nullptr || catalogue->size < headerBytes) return otherwise;
  uint16_t count;
  memcpy(&count, catalogue->bytes + countOffset, sizeof(count));
  const size_t readable = std::min<size_t>(count, (catalogue->size - headerBytes) / sizeof(Entry));
  for (size_t index = 0; index < readable; ++index) {
    Entry entry;
    memcpy(&entry, catalogue->bytes + headerBytes + index * sizeof(Entry), sizeof(Entry));
    if (entry.number == number && entry.variant == variant)
      return entry.textOffset < catalogue->size ? catalogue->bytes + entry.textOffset : otherwise;
  }
  return otherwise;
}

}  // namespace qrt::frame

QrtCatalogue* _qrtCatopen(const char* name) {
  using namespace qrt::frame;
  const LanguagePart language;
  const char* templates = getenv("NLSPATH");
  if (language.text[0] == 0 || templates == nullptr) return nullptr;
  auto* catalogue = static_cast<QrtCatalogue*>(malloc(sizeof(QrtCatalogue)));
  if (catalogue == nullptr) return nullptr;
  catalogue->file = openFirst(templates, language.text, name);
  if (catalogue->file == nullptr) {
    free(catalogue);
    return nullptr;
  }
  catalogue->size = fread(catalogue->bytes, 1, mostBytes, catalogue->file);
  catalogue->bytes[catalogue->size] = 0;
  if (ferror(catalogue->file)) {
    _qrtCatclose(catalogue);
    return nullptr;
  }
  if (hosted())
    snprintf(hostAbendText, sizeof(hostAbendText), "%s",
             textProper(catalogueText(catalogue, message::exitNotice, 1, "")));
  return catalogue;
}

void _qrtCatclose(QrtCatalogue* catalogue) {
  if (catalogue == nullptr) return;
  fclose(catalogue->file);
  free(catalogue);
}
