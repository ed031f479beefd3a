// Writes the constant blocks of code pages, from ICU's mappings: generate_blocks OUTPUT.
#include <stdio.h>
#include <unicode/ucnv.h>

#include "xml/block_maker.h"

namespace {

using namespace qrt::xml;

constexpr int32_t pages[] = {1047, 37,  1140, 273, 1141, 277, 1142, 278, 1143, 280,  1144, 284, 1145, 285,
                             1146, 297, 1147, 500, 1148, 871, 1149, 819, 813,  9005, 920,  437, 850,  1252};

constexpr UnitTable names = makeNameClasses();
constexpr UnitTable lexes = makeLexClasses();

struct Page {
  UConverter* converter;

  uint16_t unitOf(uint8_t byte) const {
    UErrorCode status = U_ZERO_ERROR;
    UChar unit[2] = {0xFFFD, 0};
    const char character = static_cast<char>(byte);
    ucnv_toUChars(converter, unit, 2, &character, 1, &status);
    return U_SUCCESS(status) ? unit[0] : 0xFFFD;
  }
  int32_t byteOf(char16_t unit) const {
    UErrorCode status = U_ZERO_ERROR;
    char byte[4];
    ucnv_setFromUCallBack(converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    const int32_t count = ucnv_fromUChars(converter, byte, sizeof(byte), &unit, 1, &status);
    return U_SUCCESS(status) && count == 1 ? static_cast<uint8_t>(byte[0]) : -1;
  }
};

void writeBytes(FILE* to, const uint8_t* bytes, int count) {
  fputs("{", to);
  for (int at = 0; at < count; ++at) fprintf(to, "%s%d,", at % 32 == 0 ? "\n" : "", bytes[at]);
  fputs("},\n", to);
}

bool writeBlock(FILE* to, int32_t ccsid) {
  UErrorCode status = U_ZERO_ERROR;
  const Page page = {ucnv_openCCSID(ccsid, UConverterPlatform{}, &status)};
  CodePageBlock block = {};
  if (U_FAILURE(status) || !makeBlock(
                               block, names, lexes, [&](uint8_t byte) { return page.unitOf(byte); },
                               [&](char16_t unit) { return page.byteOf(unit); })) {
    fprintf(stderr, "code page %d can't be made\n", ccsid);
    return false;
  }
  fprintf(to, "{%d, {", ccsid);
  writeBytes(to, block.nameClass, 256);
  writeBytes(to, block.lexClass, 256);
  writeBytes(to, block.punct, punctCount);
  writeBytes(to, block.cdataWord, 7);
  fputs("}},\n", to);
  ucnv_close(page.converter);
  return true;
}

}  // namespace

int main(int count, char** words) {
  FILE* to = count == 2 ? fopen(words[1], "w") : nullptr;
  if (to == nullptr) return 1;
  for (const int32_t ccsid : pages)
    if (!writeBlock(to, ccsid)) return 1;
  return fclose(to) == 0 ? 0 : 1;
}
