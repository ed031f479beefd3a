// Conversion to and from UTF-16, comparison, moves and case of national text, and the conversions between the
// two sides of the pair of code pages. The status of the last ICU call and the like stand in exported words.
#include <stdio.h>
#include <string.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <algorithm>

#include "frame/message.h"
#include "nls/code_pages.h"
#include "nls/converter.h"
#include "nls/sides.h"
#include "nls/work_area.h"
#include "qrtrlib.h"

int32_t Uerror = 0;
int32_t rc = 0;
void* ucnv_1 = nullptr;
int32_t save_converter = 0;
int32_t sourceLen = 0;
int32_t targetLen = 0;
int32_t resultChars = 0;
int32_t resultBytes = 0;
uint32_t msgflag = 0;
char str_null[1] = "";
const uint16_t Uspace = 0x0020;

char ll_CC[6];
char ll[3];
char ascii_CP[50];
char ebcdic_CP[52];
char CP_str[32];

namespace qrt::nls {
namespace {

constexpr int32_t cannotOpen = 221, cannotConvert = 222, noCollator = 224, caseUnchanged = 225;

bool ready = false;
Converter sides[2];
UCollator* collator = nullptr;

int32_t charactersOf(int32_t bytes) {
  return std::max(bytes, 0) / static_cast<int32_t>(sizeof(UChar));
}

// The converter of the running call, which closes one that was opened for this call only.
class CallConverter {
 public:
  CallConverter(const char* codePage, int32_t selector) {
    save_converter = selector == asciiSide || selector == ebcdicSide;
    if (save_converter != 0) {
      converter = converterOf(selector);
    } else {
      const int32_t length = std::clamp(selector, 0, longestCodePageName);
      memcpy(CP_str, codePage, static_cast<size_t>(length));
      CP_str[length] = 0;
      UErrorCode status = U_ZERO_ERROR;
      // A name that is too long must not be found by its beginning.
      if (selector == length)
        own = openConverter({CP_str, static_cast<size_t>(length)}, status);
      else
        status = U_FILE_ACCESS_ERROR;
      converter = own.get();
      Uerror = codeOf(status);
      if (converter == nullptr) qrtWriteERRmsg(cannotOpen, msgflag, Uerror);
    }
    ucnv_1 = converter;
  }
  ~CallConverter() {
    if (own != nullptr) ucnv_1 = nullptr;
  }
  CallConverter(const CallConverter&) = delete;
  CallConverter& operator=(const CallConverter&) = delete;

  explicit operator bool() const { return converter != nullptr; }
  operator UConverter*() const { return converter; }

 private:
  Converter own;
  UConverter* converter;
};

// Start of a service.
void begin() {
  rc = 0;
  Uerror = 0;
  qrtUInit();
}

// ICU's case mappings have one shape.
using CaseMapping = int32_t(UChar*, int32_t, const UChar*, int32_t, const char*, UErrorCode*);

void mapCase(CaseMapping* mapping, void* target, int32_t* targetBytes, const void* source,
             int32_t sourceBytes) {
  begin();
  const int32_t room = charactersOf(*targetBytes), count = charactersOf(sourceBytes);
  const auto* const text = static_cast<const UChar*>(source);
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length = mapping(nullptr, 0, text, count, ll_CC, &status);  // only counts
  if (status == U_BUFFER_OVERFLOW_ERROR && length <= room) {
    status = U_ZERO_ERROR;
    mapping(static_cast<UChar*>(target), length, text, count, ll_CC, &status);  // no room for a terminator
  }
  Uerror = codeOf(status);
  if (Uerror > 0) {
    qrtWriteERRmsg(caseUnchanged, msgflag, Uerror);
    return;
  }
  *targetBytes = length * static_cast<int32_t>(sizeof(UChar));
}

// The two stages. A text that the first one cut goes on as far as it came.
[[gnu::noinline]] int32_t convertByUnicode(int32_t from, const void* source, int32_t sourceBytes,
                                           UConverter* targetSide, void* target, int32_t* room) {
  const int32_t given = std::max(*room, 0);
  int32_t workBytes = sourceBytes * 2 + 2;
  WorkArea<0x8000> work(workBytes);
  if (work.data() == nullptr) return rc = Uerror = U_MEMORY_ALLOCATION_ERROR;
  const int32_t cut = qrtConvToUnicode(source, sourceBytes, work.data(), &workBytes, nullptr, from);
  if (cut != 0 && cut != resultWasCut) return cut;
  rc = 0;
  ucnv_1 = targetSide;
  UErrorCode status = U_ZERO_ERROR;
  resultBytes = fromUnicode(targetSide, work.as<UChar>(), charactersOf(workBytes), target, given, status);
  Uerror = codeOf(status);
  if (Uerror != 0 && Uerror != resultWasCut) {
    qrtWriteERRmsg(cannotConvert, msgflag, Uerror);
    return rc = Uerror;
  }
  *room = given - resultBytes;
  return 0;
}

// From one side to the other by UTF-16. `room` becomes what is not used; a text that is too long is cut.
int32_t convertSides(int32_t from, int32_t to, const void* source, int32_t sourceBytes, void* target,
                     int32_t* room) {
  begin();
  sourceBytes = std::max(sourceBytes, 0);
  const int32_t given = std::max(*room, 0);
  const DirectMap& map = directMap(from);
  if (!map.made) {
    UConverter *const sourceSide = converterOf(from), *const targetSide =
                                                          sourceSide != nullptr ? converterOf(to) : nullptr;
    if (targetSide == nullptr) return rc = Uerror;
    makeDirectMap(from, sourceSide, targetSide);
  }
  const int32_t count = std::min(sourceBytes, given);
  if (mapDirectly(map, static_cast<const uint8_t*>(source), static_cast<uint8_t*>(target), count)) {
    *room = given - count;
    return 0;
  }
  return convertByUnicode(from, source, sourceBytes, converterOf(to), target, room);
}

}  // namespace

UConverter* converterOf(int32_t side) {
  Converter& converter = sides[side == asciiSide ? 0 : 1];
  if (converter == nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    converter = openConverter(side == asciiSide ? ascii_CP : ebcdic_CP, status);
    Uerror = codeOf(status);
    if (converter == nullptr) qrtWriteERRmsg(cannotOpen, msgflag, Uerror);
  }
  return converter.get();
}

}  // namespace qrt::nls

using namespace qrt::nls;

void qrtUInit() {
  if (ready && isPairSettled()) return adoptCodePages();
  qrtUTerm();  // what was made for another process record
  ready = true;
  setDataDirectoryOnce();
  qrtSetLocaleCP();
  const char* const name = settledLocaleName();
  snprintf(RT_locale, sizeof RT_locale, "%s", name);
  snprintf(ll_CC, sizeof ll_CC, "%s", name);
  snprintf(ll, sizeof ll, "%s", name);
  snprintf(ascii_CP, sizeof ascii_CP, "%s", name + sizeof ll_CC);
  snprintf(ebcdic_CP, sizeof ebcdic_CP, "%s", settledEbcdicCodePage());
}

void qrtUTerm() {
  for (Converter& side : sides) side.reset();
  forgetDirectMaps();
  if (collator != nullptr) ucol_close(collator);
  collator = nullptr;
  ucnv_1 = nullptr;
  ready = false;
}

int32_t qrtConvToUnicode(const void* source, int32_t sourceBytes, void* target, int32_t* targetBytes,
                         const char* codePage, int32_t selector) {
  begin();
  const CallConverter converter(codePage, selector);
  if (!converter) return rc = Uerror;
  sourceLen = std::max(sourceBytes, 0);
  targetLen = charactersOf(*targetBytes);
  UErrorCode status = U_ZERO_ERROR;
  resultChars = toUnicode(converter, source, sourceLen, static_cast<UChar*>(target), targetLen, status);
  rc = Uerror = codeOf(status);
  if (Uerror == resultWasCut) {
    qrtWriteERRmsg(cannotConvert, msgflag | QRT_MESSAGE_INFORMATION, Uerror);
  } else if (Uerror > 0) {
    qrtWriteERRmsg(cannotConvert, msgflag, Uerror);
    return rc;
  }
  resultBytes = resultChars * static_cast<int32_t>(sizeof(UChar));
  *targetBytes = resultBytes;
  return rc;
}

int32_t qrtConvFromUnicode(const void* source, int32_t sourceBytes, void* target, int32_t* targetBytes,
                           const char* codePage, int32_t selector) {
  begin();
  const CallConverter converter(codePage, selector);
  if (!converter) return rc = Uerror;
  sourceLen = charactersOf(sourceBytes);
  targetLen = std::max(*targetBytes, 0);
  UErrorCode status = U_ZERO_ERROR;
  resultBytes =
      fromUnicode(converter, static_cast<const UChar*>(source), sourceLen, target, targetLen, status);
  rc = Uerror = codeOf(status);
  if (Uerror > 0) {
    qrtWriteERRmsg(cannotConvert, msgflag, Uerror);
    return rc;
  }
  *targetBytes = resultBytes;
  return 0;
}

int32_t qrtCompareUnicode(const void* first, int32_t firstBytes, const void* second, int32_t secondBytes) {
  begin();
  if (collator == nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    collator = ucol_open(ll_CC, &status);
    Uerror = codeOf(status);
    if (Uerror > 0) {
      qrtWriteERRmsg(noCollator, msgflag, ll_CC, Uerror);
      return Uerror;
    }
  }
  const auto withoutBlanks = [](const UChar* text, int32_t length) {
    while (length > 1 && text[length - 1] == Uspace) --length;
    return length;
  };
  const auto* const a = static_cast<const UChar*>(first);
  const auto* const b = static_cast<const UChar*>(second);
  return ucol_strcoll(collator, a, withoutBlanks(a, charactersOf(firstBytes)), b,
                      withoutBlanks(b, charactersOf(secondBytes)));
}

void qrtMoveUnicode(void* target, int32_t targetBytes, const void* source, int32_t sourceBytes) {
  const bool right = targetBytes < 0;
  const int32_t targetChars = charactersOf(right ? -targetBytes : targetBytes);
  const int32_t sourceChars = charactersOf(sourceBytes);
  const int32_t moved = std::min(targetChars, sourceChars), pads = targetChars - moved;
  auto* const start = static_cast<UChar*>(target);
  const auto* const from = static_cast<const UChar*>(source) + (right ? sourceChars - moved : 0);
  memmove(start + (right ? pads : 0), from, static_cast<size_t>(moved) * sizeof(UChar));
  std::fill_n(right ? start : start + moved, pads, Uspace);
}

void qrtLowerCaseUnicode(void* target, int32_t* targetBytes, const void* source, int32_t sourceBytes) {
  mapCase(u_strToLower, target, targetBytes, source, sourceBytes);
}

void qrtUpperCaseUnicode(void* target, int32_t* targetBytes, const void* source, int32_t sourceBytes) {
  mapCase(u_strToUpper, target, targetBytes, source, sourceBytes);
}

int32_t qrtUniAtoE(const void* source, int32_t sourceBytes, void* target, int32_t* room) {
  return convertSides(asciiSide, ebcdicSide, source, sourceBytes, target, room);
}

int32_t qrtUniEtoA(const void* source, int32_t sourceBytes, void* target, int32_t* room) {
  return convertSides(ebcdicSide, asciiSide, source, sourceBytes, target, room);
}
