// Where the text of items and names comes from: a code page, and the way from it to the form of the document.
#pragma once

#include <string.h>

#include <algorithm>

#include "nls/converter.h"
#include "xml/generate_target.h"

namespace qrt::xml {

enum class Route : uint8_t { unsettled, inPlace, byTable, toUtf8, byUnits, none };

// A page that is opened when its first text comes. The fields behind `name` follow from page and target.
template <typename Unit>
struct Source {
  const char* name;
  Route route = Route::unsettled;
  nls::Converter converter = {};
  char16_t singles[256] = {};     // UTF-16 of each byte, of a single-byte page
  Unit table[256] = {};           // the document's unit for each byte, with Route::byTable
  bool isAscii = false;           // bytes of printable ASCII are these characters, part of no other, and the
                                  // document's page has them
  bool standsInDocument = false;  // and they are the same bytes in the document
};

inline constexpr uint32_t firstPrintable = 0x20, behindPrintable = 0x7F;  // of ASCII

// Whether the units of printable ASCII are these characters.
template <typename Unit>
bool hasAscii(const Unit (&units)[256]) {
  for (uint32_t character = firstPrintable; character < behindPrintable; ++character)
    if (units[character] != character) return false;
  return true;
}

// False for a page whose characters have more than one byte.
inline bool readSingles(UConverter* converter, char16_t (&singles)[256]) {
  if (ucnv_getMaxCharSize(converter) != 1) return false;
  uint8_t bytes[256];
  for (int byte = 0; byte < 256; ++byte) bytes[byte] = static_cast<uint8_t>(byte);
  UErrorCode status = U_ZERO_ERROR;
  return nls::toUnicode(converter, bytes, 256, singles, 256, status) == 256 && U_SUCCESS(status);
}

inline Route routeOf(Source<char16_t>& source, const Target&) {
  if (!readSingles(source.converter.get(), source.singles)) return Route::byUnits;
  memcpy(source.table, source.singles, sizeof source.table);
  source.isAscii = hasAscii(source.singles);
  return Route::byTable;
}

inline Route routeOf(Source<uint8_t>& source, const Target& target) {
  UErrorCode status = U_ZERO_ERROR;
  // Of pages of one CCSID, one may have line feed and new line exchanged.
  const bool isTarget = strcmp(ucnv_getName(source.converter.get(), &status),
                               ucnv_getName(target.converter.get(), &status)) == 0;
  const bool isSingle = readSingles(source.converter.get(), source.singles);
  source.isAscii = isSingle ? hasAscii(source.singles) : isTarget && target.ccsid == utf8Ccsid;
  source.standsInDocument = source.isAscii && (isTarget || target.ccsid == utf8Ccsid);
  if (isTarget) return Route::inPlace;
  if (!isSingle) return Route::byUnits;
  if (target.ccsid == utf8Ccsid) return Route::toUtf8;
  const bool isOneToOne =
      nls::fromUnicode(target.converter.get(), source.singles, 256, source.table, 256, status) == 256 &&
      U_SUCCESS(status);
  source.isAscii &=
      std::none_of(source.table + firstPrintable, source.table + behindPrintable, [&](uint8_t byte) {
        return target.block->lexClass[byte] == illegal;  // what stands for a character that isn't in the page
      });
  source.standsInDocument = source.isAscii && isOneToOne && hasAscii(source.table);
  return isOneToOne ? Route::byTable : Route::byUnits;
}

template <typename Unit>
[[gnu::noinline]] void settle(Source<Unit>& source, const Target& target) {
  UErrorCode status = U_ZERO_ERROR;
  source.converter = nls::openConverter(source.name, status);
  source.route = source.converter != nullptr ? routeOf(source, target) : Route::none;
}

template <typename Unit>
Route settledRoute(Source<Unit>& source, const Target& target) {
  if (source.route == Route::unsettled) [[unlikely]]
    settle(source, target);
  return source.route;
}

// Room for three bytes to a byte of the source. Single-byte pages have no surrogates.
inline int32_t encodeUtf8(const char16_t (&singles)[256], const uint8_t* text, int32_t length, uint8_t* to) {
  const uint8_t* const start = to;
  for (int32_t at = 0; at < length; ++at) {
    const uint32_t unit = singles[text[at]];
    if (unit < 0x80) {
      *to++ = static_cast<uint8_t>(unit);
      continue;
    }
    if (unit < 0x800) {
      *to++ = static_cast<uint8_t>(0xC0 | unit >> 6);
    } else {
      *to++ = static_cast<uint8_t>(0xE0 | unit >> 12);
      *to++ = static_cast<uint8_t>(0x80 | (unit >> 6 & 0x3F));
    }
    *to++ = static_cast<uint8_t>(0x80 | (unit & 0x3F));
  }
  return static_cast<int32_t>(to - start);
}

}  // namespace qrt::xml
