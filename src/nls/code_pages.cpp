// How the locale and the environment settle the pair of code pages of a process, what the system knows of a
// code page, and the byte conversions between the pair, with the shift bytes of double-byte text.
#include "nls/code_pages.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unicode/putil.h>

#include <algorithm>
#include <span>
#include <string_view>

#include "nls/converter.h"
#include "nls/work_area.h"
#include "platform/locale.h"
#include "qrtrlib.h"

char RT_locale[121];
const char* lp = nullptr;
const char* CP_1 = nullptr;
uint32_t icu_data_var = 0;

namespace qrt::nls {
namespace {

constexpr int32_t cannotOpen = 221, strangeCodePage = 230;
constexpr uint32_t unknownVariant = 1;  // flags: the second text of that number

constexpr uint8_t shiftOut = 0x0E, shiftIn = 0x0F;
constexpr size_t keyLength = 5;
constexpr int32_t fallbackRow = 8;  // EN_US, for a locale that the table doesn't know
constexpr std::string_view plainLocale = "en_US.QMC-1252";

struct CodePagePair {
  int32_t row = -1;
  char localeName[sizeof QrtRunUnitRecord::localeName] = {};
  char ebcdicCodePage[sizeof QrtRunUnitRecord::ebcdicCodePage] = {};
};

CodePagePair settled;

template <size_t size>
void assign(char (&target)[size], std::string_view text) {
  target[text.copy(target, size - 1)] = 0;
}

// The locale in the form ll_CC.code-set.
void takeLocale() {
  lp = platform::characterLocale();
  std::string_view name = lp;
  if (name == "C" || name == "POSIX") name = plainLocale;
  if (name.size() < keyLength || name.size() >= sizeof settled.localeName)
    name = plainLocale.substr(0, keyLength);
  assign(RT_locale, name);
  if (RT_locale[keyLength] != '.')
    snprintf(RT_locale + keyLength, sizeof RT_locale - keyLength, ".%s", platform::codeSetName());
  assign(settled.localeName, RT_locale);
  for (char* letter = RT_locale; *letter != 0; ++letter) *letter = platform::toUpper(*letter);
}

int32_t rowOfLocale(std::string_view key) {
  for (int32_t row = 0; row < QRT_LOCALE_ROWS; ++row)
    if (key == LCCP_Tbl[row].key) return row;
  return fallbackRow;
}

const QrtLocaleRow* rowOfEbcdicPage(std::string_view page) {
  for (const QrtLocaleRow& row : LCCP_Tbl)
    if (page == row.ebcdic || page == row.ebcdicEuro) return &row;
  return nullptr;
}

void takeEbcdicPage(const QrtLocaleRow& own, std::string_view key) {
  const char* const value = getenv("EBCDIC_CODEPAGE");
  assign(settled.ebcdicCodePage, own.ebcdicEuro);
  if (value == nullptr || *value == 0) return;
  char page[sizeof settled.ebcdicCodePage] = {};
  assign(page, value);
  for (char& letter : page) letter = platform::toUpper(letter);
  const QrtLocaleRow* const found = strlen(value) < sizeof page ? rowOfEbcdicPage(page) : nullptr;
  if (found == nullptr) {
    qrtWriteERRmsg(strangeCodePage, unknownVariant, value, own.ebcdicEuro);
    return;
  }
  assign(settled.ebcdicCodePage, page);
  const std::string_view name = page;
  if (name != own.ebcdic && name != own.ebcdicEuro && key != found->key)
    qrtWriteERRmsg(strangeCodePage, 0, value, settled.localeName);
}

bool isShift(uint8_t byte) {
  return byte == shiftOut || byte == shiftIn;
}

// A shift byte alone is no text: it is copied as it stands. False, and nothing done, for anything else.
bool copyLoneShift(const uint8_t* source, int32_t count, uint8_t* target, int32_t* targetLength) {
  if (count != 1 || !isShift(*source) || *targetLength == 0) return false;
  *target = *source;
  *targetLength = 1;
  return true;
}

struct ShiftCounts {
  int32_t out, in;
};

ShiftCounts countShifts(std::span<const uint8_t> text) {
  return {static_cast<int32_t>(std::count(text.begin(), text.end(), shiftOut)),
          static_cast<int32_t>(std::count(text.begin(), text.end(), shiftIn))};
}

// Puts double-byte text in order: each run of it between a shift-out and a shift-in. Returns the length.
int32_t orderShifts(std::span<const uint8_t> text, uint8_t* ordered) {
  uint8_t* at = ordered;
  const auto [outs, ins] = countShifts(text);
  const bool wrap = outs == 0 && ins == 0, balanced = outs == ins;
  if (wrap) *at++ = shiftOut;
  if (balanced) {
    at = std::copy(text.begin(), text.end(), at);
  } else {
    bool inside = false;
    for (const uint8_t byte : text) {
      if (byte == shiftOut && inside) *at++ = shiftIn;
      if (byte == shiftIn && !inside) *at++ = shiftOut;
      if (isShift(byte)) inside = byte == shiftOut;
      *at++ = byte;
    }
    if (inside) *at++ = shiftIn;
  }
  if (wrap) *at++ = shiftIn;
  return static_cast<int32_t>(at - ordered);
}

// Blanks over what the text of `written` bytes leaves of a field, behind it or in front of it.
void padField(uint8_t* field, int32_t length, int32_t written, bool right) {
  const int32_t pads = length - written;
  if (right) memmove(field + pads, field, static_cast<size_t>(written));
  memset(right ? field : field + written, ' ', static_cast<size_t>(pads));
}

// Leaves out the shift bytes around the text, or closes a shift that is left open. Returns the text.
std::span<uint8_t> trimShifts(std::span<uint8_t> text, bool pureDoubleByte, bool closeShift) {
  if (pureDoubleByte) {
    if (text.empty() || text.front() != shiftOut) return text;
    text = text.subspan(1);
    return !text.empty() && text.back() == shiftIn ? text.first(text.size() - 1) : text;
  }
  const auto [outs, ins] = countShifts(text);
  if (!closeShift || outs != ins + 1) return text;
  text.data()[text.size()] = shiftIn;
  return {text.data(), text.size() + 1};
}

}  // namespace

const uint8_t* doubleByteSpace() {
  qrtcSetCodePages();
  return LCCP_Tbl[_qrtProccom != nullptr ? _qrtProccom->localeCodePageIndex : settled.row].doubleByteSpace;
}

bool isPairSettled() {
  return _qrtProccom != nullptr ? _qrtProccom->localeCodePageIndex >= 0 : settled.row >= 0;
}

void adoptCodePages() {
  if (_qrtRuncom == nullptr || _qrtRuncom->localeName[0] != 0 || settled.row < 0) return;
  memcpy(_qrtRuncom->localeName, settled.localeName, sizeof settled.localeName);
  memcpy(_qrtRuncom->ebcdicCodePage, settled.ebcdicCodePage, sizeof settled.ebcdicCodePage);
}

const char* settledLocaleName() {
  return settled.localeName;
}

const char* settledEbcdicCodePage() {
  return settled.ebcdicCodePage;
}

void setDataDirectoryOnce() {
  static bool done = false;
  if (done) return;
  done = true;
  if (const char* path = getenv("PATH")) u_setDataDirectory(path);
}

}  // namespace qrt::nls

using namespace qrt::nls;

void qrtSetLocaleCP() {
  setDataDirectoryOnce();
  if (!isPairSettled()) {
    takeLocale();
    const std::string_view key(RT_locale, keyLength);
    settled.row = rowOfLocale(key);
    if (_qrtProccom != nullptr) _qrtProccom->localeCodePageIndex = settled.row;
    takeEbcdicPage(LCCP_Tbl[settled.row], key);
  }
  adoptCodePages();
}

void qrtGetLocaleCP(char* locale, char* ebcdicCodePage) {
  qrtSetLocaleCP();
  strcpy(locale, settled.localeName);
  strcpy(ebcdicCodePage, settled.ebcdicCodePage);
}

void qrtcSetCodePages() {
  if (isPairSettled()) return;
  char locale[sizeof settled.localeName], ebcdicCodePage[sizeof settled.ebcdicCodePage];
  qrtGetLocaleCP(locale, ebcdicCodePage);
}

int32_t qrtGetMBCurMax() {
  return qrt::platform::longestCharacter();
}

int32_t qrtGetMaxCharSize(const char* codePage) {
  UErrorCode status = U_ZERO_ERROR;
  const Converter converter = openConverter(codePage, status);
  Uerror = codeOf(status);
  if (converter == nullptr) {
    qrtWriteERRmsg(cannotOpen, msgflag, Uerror);
    return 0;
  }
  return ucnv_getMaxCharSize(converter.get());
}

int32_t qrtGetCCSID(const char* codePage, int32_t* ccsid) {
  *ccsid = -1;
  UErrorCode status = U_ZERO_ERROR;
  const Converter converter = openConverter(codePage, status);
  Uerror = codeOf(status);
  if (converter == nullptr) return 2;
  const int32_t number = ucnv_getCCSID(converter.get(), &status);
  if (U_FAILURE(status) || number <= 0) return 1;
  *ccsid = number;
  return 0;
}

int32_t qrtValidateCPID(const char* name, int32_t length) {
  if (length < 0 || length > longestCodePageName) return 1;
  assign(CP_str, {name, static_cast<size_t>(length)});
  UErrorCode status = U_ZERO_ERROR;
  const bool opens = openConverter(CP_str, status) != nullptr;
  Uerror = codeOf(status);
  return opens ? 0 : 1;
}

int32_t qrtConvToEBCDIC(const void* source, int32_t sourceLength, void* target, int32_t* targetLength) {
  const bool closeShift = *targetLength < 0, pureDoubleByte = sourceLength < 0;
  const int32_t length = std::abs(*targetLength), count = std::abs(sourceLength);
  auto* const field = static_cast<uint8_t*>(target);
  if (copyLoneShift(static_cast<const uint8_t*>(source), count, field, targetLength)) return 0;
  if (!closeShift && !pureDoubleByte) {
    int32_t room = length;
    const int32_t code = qrtUniAtoE(source, count, field, &room);
    *targetLength = code == 0 ? length - room : 0;
    return code;
  }
  // Each shift adds two bytes to three or more of the source; the last place is for one that is added here.
  const int32_t workLength = std::max(length, count) * 5 / 3 + 1;
  WorkArea<256> work(workLength + 1);
  int32_t room = workLength;
  const int32_t code =
      work.data() == nullptr ? U_MEMORY_ALLOCATION_ERROR : qrtUniAtoE(source, count, work.data(), &room);
  *targetLength = 0;
  if (code != 0) return code;
  const std::span<uint8_t> text =
      trimShifts({work.data(), static_cast<size_t>(workLength - room)}, pureDoubleByte, closeShift);
  *targetLength = std::min(length, static_cast<int32_t>(text.size()));
  memcpy(field, text.data(), static_cast<size_t>(*targetLength));
  return 0;
}

int32_t qrtConvToASCII(const void* source, int32_t sourceLength, void* target, int32_t* targetLength) {
  const bool right = *targetLength < 0, doubleByte = sourceLength < 0;
  const int32_t length = std::abs(*targetLength), count = std::abs(sourceLength);
  const auto* const bytes = static_cast<const uint8_t*>(source);
  auto* const field = static_cast<uint8_t*>(target);
  if (!doubleByte && copyLoneShift(bytes, count, field, targetLength)) return 0;
  int32_t room = length, code;
  if (doubleByte) {
    WorkArea<256> work(2 * count + 2);
    if (work.data() == nullptr) {
      code = U_MEMORY_ALLOCATION_ERROR;
    } else {
      const int32_t ordered = orderShifts({bytes, static_cast<size_t>(count)}, work.data());
      code = qrtUniEtoA(work.data(), ordered, field, &room);
    }
  } else {
    code = qrtUniEtoA(bytes, count, field, &room);
  }
  *targetLength = code == 0 ? length - room : 0;
  if (code == 0) padField(field, length, *targetLength, right);
  return code;
}
