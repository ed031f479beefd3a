// Classes of double-byte text, told from its EBCDIC form.
#include "statement/class_double_byte.h"

#include <algorithm>

#include "nls/work_area.h"
#include "qrtrlib.h"
#include "statement/move.h"

namespace qrt::statement {
namespace {

constexpr uint8_t shiftOut = 0x0E, shiftIn = 0x0F;
constexpr uint8_t hostSpace = 0x40;

// Bytes of a pair lie between 0x41 and a highest one.
constexpr uint8_t highestSecond = 0xFE, highestKanjiFirst = 0x7F;
constexpr bool isIn(uint8_t byte, uint8_t highest) {
  return byte >= 0x41 && byte <= highest;
}

bool isPairs(const uint8_t* text, uint32_t size, uint8_t highestFirst) {
  if (size % 2 != 0) return false;
  for (uint32_t at = 0; at < size; at += 2) {
    if (text[at] == hostSpace && text[at + 1] == hostSpace) continue;
    if (!isIn(text[at], highestFirst) || !isIn(text[at + 1], highestSecond)) return false;
  }
  return true;
}

// Converts text of the native code page to see its EBCDIC form: one shift-out, pairs and one shift-in.
bool isNativePairs(const uint8_t* item, int32_t length, uint8_t highestFirst) {
  // Room for two bytes a character and the shifts: a longer result has further shifts in it, which shows in
  // the part that fits.
  int32_t size = length <= INT32_MAX / 2 - 1 ? length * 2 + 2 : INT32_MAX;
  nls::WorkArea<256> host(size);
  if (host.data() == nullptr || qrtConvToEBCDIC(item, length, host.data(), &size) != 0) return false;
  if (size < 1 || host.data()[0] != shiftOut) return false;
  --size;
  if (size > 0 && host.data()[size] == shiftIn) --size;
  return isPairs(host.data() + 1, static_cast<uint32_t>(size), highestFirst);
}

int32_t isPairClass(const uint8_t* item, int32_t length, uint8_t highestFirst) {
  return length < 0 ? isPairs(item, magnitude(length), highestFirst)
                    : isNativePairs(item, length, highestFirst);
}

}  // namespace

int32_t isKanji(const uint8_t* item, int32_t length) {
  return isPairClass(item, length, highestKanjiFirst);
}

int32_t isDoubleByte(const uint8_t* item, int32_t length) {
  return isPairClass(item, length, highestSecond);
}

}  // namespace qrt::statement
