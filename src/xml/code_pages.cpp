#include "xml/code_pages.h"

#include <stdio.h>

#include "nls/converter.h"
#include "xml/block_maker.h"

namespace qrt::xml {
namespace {

struct PageRow {
  int32_t ccsid;
  CodePageBlock block;
};

constexpr PageRow pages[] = {
#include "xml_blocks.inc"
};

// Blocks of pages without a constant one, a family each.
CodePageBlock ownBlocks[2];

constexpr uint8_t asciiLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
constexpr auto ebcdicLetters = [] {
  constexpr struct {
    uint8_t first, count;
  } rows[] = {{0x81, 9}, {0x91, 9}, {0xA2, 8}, {0xC1, 9}, {0xD1, 9}, {0xE2, 8}, {0xF0, 10}};
  std::array<uint8_t, 62> letters{};
  size_t at = 0;
  for (const auto& row : rows)
    for (uint32_t place = 0; place < row.count; ++place)
      letters[at++] = static_cast<uint8_t>(row.first + place);
  return letters;
}();

nls::Converter converterOf(int32_t ccsid) {
  char name[16];
  snprintf(name, sizeof(name), "QMC-%05d", static_cast<int>(ccsid));
  UErrorCode status = U_ZERO_ERROR;
  return nls::openConverter(name, status);
}

bool makeOwnBlock(CodePageBlock& block, int32_t ccsid) {
  const nls::Converter converter = converterOf(ccsid);
  if (converter == nullptr || ucnv_getMaxCharSize(converter.get()) != 1) return false;
  const auto unitOf = [&](uint8_t byte) -> uint16_t {
    UErrorCode status = U_ZERO_ERROR;
    UChar unit[2] = {0xFFFD, 0};
    nls::toUnicode(converter.get(), &byte, 1, unit, 2, status);
    return U_SUCCESS(status) ? unit[0] : 0xFFFD;
  };
  const auto byteOf = [&](char16_t unit) -> int32_t {
    UErrorCode status = U_ZERO_ERROR;
    uint8_t byte[4];
    const UChar character = unit;
    const int32_t count = nls::fromUnicode(converter.get(), &character, 1, byte, sizeof(byte), status);
    return U_SUCCESS(status) && count == 1 ? byte[0] : -1;
  };
  return makeBlock(block, nameClasses, lexClasses, unitOf, byteOf);
}

}  // namespace

const CodePageBlock* blockOf(int32_t ccsid, Family family) {
  for (const PageRow& row : pages)
    if (row.ccsid == ccsid) return &row.block;
  CodePageBlock& own = ownBlocks[static_cast<int>(family)];
  return makeOwnBlock(own, ccsid) ? &own : nullptr;
}

const uint8_t* lettersOf(Family family) {
  return family == Family::ascii ? asciiLetters : ebcdicLetters.data();
}

CallerClass callerClassOf(int32_t ccsid) {
  if (ccsid < 2 || ccsid > 65535) return noConverter;
  const nls::Converter converter = converterOf(ccsid);
  if (converter == nullptr) return noConverter;
  const UChar text[] = {' ', 0x3000};
  uint8_t bytes[16];
  UErrorCode status = U_ZERO_ERROR;
  const int32_t blank = nls::fromUnicode(converter.get(), text, 1, bytes, sizeof(bytes), status);
  if (U_FAILURE(status)) return noConverter;
  if (blank == 2) return bytes[0] == ' ' ? utf16Little : bytes[1] == ' ' ? utf16Big : noConverter;
  if (blank != 1 || (bytes[0] != 0x20 && bytes[0] != 0x40)) return noConverter;
  const bool ascii = bytes[0] == 0x20;
  const int32_t both = nls::fromUnicode(converter.get(), text, 2, bytes, sizeof(bytes), status) - 1;
  if (ascii && both == 3 && bytes[1] == 0xE3) return utf8;
  if (ascii) return both == 2 ? asciiDouble : both == 1 ? asciiSingle : noConverter;
  return both == 4 ? ebcdicMixed : both == 1 ? ebcdicSingle : noConverter;
}

}  // namespace qrt::xml
