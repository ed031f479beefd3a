// The collating tables that a compiled program asks for. They are made once in the life of the process,
// whatever becomes of the locale.
#include "nls/collating.h"

#include <stdlib.h>

#include <numeric>
#include <optional>

#include "frame/guard.h"
#include "platform/locale.h"

namespace qrt::nls {
namespace {

struct Tables {
  bool made;
  uint8_t first[256], second[256];
};

// What the bytes of the EBCDIC side are on the native side. Byte for byte, since one whose image takes more
// than one byte, and is cut to its first, must not move those behind it.
void fillFromEbcdic(uint8_t (&table)[256]) {
  for (int32_t value = 0; value < 256; ++value) {
    const auto byte = static_cast<uint8_t>(value);
    table[value] = byte;
    int32_t room = 1;
    if (qrtUniEtoA(&byte, 1, &table[value], &room) != 0) return;
  }
}

int compareBytes(const void* first, const void* second) {
  const auto a = *static_cast<const uint8_t*>(first), b = *static_cast<const uint8_t*>(second);
  const char texts[][2] = {{static_cast<char>(a), 0}, {static_cast<char>(b), 0}};
  const int32_t order = platform::collate(texts[0], texts[1]);
  return order != 0 ? order : a - b;
}

void sortByLocale(uint8_t (&sorted)[256], uint8_t (&inverse)[256]) {
  // Single bytes have no order of their own in a multi-byte locale.
  std::optional<platform::CollationSwitch> english;
  if (qrtGetMBCurMax() > 1) english.emplace("en_US");
  std::iota(sorted, sorted + 256, uint8_t{0});
  qsort(sorted, 256, 1, compareBytes);
  for (int32_t place = 0; place < 256; ++place) inverse[sorted[place]] = static_cast<uint8_t>(place);
}

}  // namespace

void fillEbcdicTables(QrtProgramBlock* program) {
  static Tables tables;
  if (!tables.made) {
    frame::underNestedGuard([] {
      char locale[sizeof QrtRunUnitRecord::localeName], page[sizeof QrtRunUnitRecord::ebcdicCodePage];
      qrtGetLocaleCP(locale, page);
      fillFromEbcdic(tables.first);
      fillFromEbcdic(tables.second);
    });
    tables.made = true;
  }
  program->ebcdicTable = tables.first;
  program->ebcdicTable2 = tables.second;
}

void fillCollatingTables(QrtProgramBlock* program) {
  static Tables tables;
  if (!tables.made) {
    frame::underNestedGuard([] { sortByLocale(tables.second, tables.first); });
    tables.made = true;
  }
  program->collatingTable = tables.first;
  program->sortedTable = tables.second;
}

}  // namespace qrt::nls
