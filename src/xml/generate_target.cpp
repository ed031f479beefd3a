#include "xml/generate_target.h"

#include <string.h>

#include <algorithm>
#include <string_view>

#include "frame/unaligned.h"
#include "nls/code_pages.h"

namespace qrt::xml {
namespace {

constexpr size_t longestEncodingName = 320;
constexpr int32_t utf16BigCcsid = 1200, utf16MarkedCcsid = 1204;

struct IsoName {
  std::string_view iso, converter;
};

constexpr IsoName isoNames[] = {
    {"ISO-8859-1", "ISO8859-1"},          {"ISO-8859-2", "qmc-912_P100-1995"},
    {"ISO-8859-3", "qmc-913_P100-2000"},  {"ISO-8859-4", "qmc-914_P100-1995"},
    {"ISO-8859-5", "qmc-915_P100-1995"},  {"ISO-8859-6", "qmc-1089_P100-1995"},
    {"ISO-8859-7", "qmc-9005_X110-2007"}, {"ISO-8859-8", "qmc-5012_P100-1999"},
    {"ISO-8859-9", "qmc-920_P100-1995"},  {"ISO-8859-10", "ISO-8859_10-1998"},
    {"ISO-8859-11", "ISO-8859_11-2001"},  {"ISO-8859-12", "ISO-8859_12"},
    {"ISO-8859-13", "qmc-921_P100-1995"}, {"ISO-8859-14", "ISO-8859_14-1998"},
    {"ISO-8859-15", "qmc-923_P100-1998"}, {"ISO-8859-16", "ISO-8859_16-2001"},
};

constexpr std::string_view isoName(std::string_view converter) {
  for (const IsoName& row : isoNames)
    if (row.converter == converter) return row.iso;
  return {};
}

template <typename Character>
std::basic_string_view<Character> withoutBlanks(std::basic_string_view<Character> text) {
  constexpr Character blank = ' ';
  const size_t first = text.find_first_not_of(blank);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

bool isNumeric(std::string_view name) {
  return !name.empty() && name.find_first_not_of("0123456789") == name.npos;
}

// The name of a code page that a caller gave, and whether there is one.
struct EncodingName {
  char national[longestEncodingName];
  std::string_view text;
  int32_t result;
};

// Latin-1 letters of a national name. Text that isn't UTF-16 is no name of an encoding; other letters can't
// be converted.
void convertNationalName(EncodingName& name, const void* text, int32_t bytes) {
  UErrorCode status = U_ZERO_ERROR;
  const nls::Converter converter = nls::openConverter("ISO-8859-1", status);
  if (converter == nullptr) {
    name.result = QRT_XGF_NATIONAL_CONVERTER;
    return;
  }
  char16_t units[longestEncodingName];
  size_t count = 0;
  bool leading = true;
  for (int32_t at = 0; at + 1 < bytes; at += 2) {
    const auto unit = frame::loadAs<char16_t>(static_cast<const uint8_t*>(text) + at);
    if (unit == 0) break;
    leading = leading && unit == ' ';
    if (leading) continue;
    if (count < longestEncodingName)
      units[count++] = unit;
    else if (unit != ' ')
      name.result = QRT_XGF_LONG_ENCODING;
  }
  if (name.result != 0) return;
  const std::u16string_view kept = withoutBlanks(std::u16string_view(units, count));
  ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  const int32_t length = nls::fromUnicode(converter.get(), kept.data(), static_cast<int32_t>(kept.size()),
                                          name.national, longestEncodingName, status);
  name.text = {name.national, static_cast<size_t>(length)};
  if (status == U_ILLEGAL_CHAR_FOUND)
    name.result = QRT_XGF_NO_ENCODING;
  else if (U_FAILURE(status))
    name.result = QRT_XGF_NATIONAL_ENCODING;
}

void takeGivenName(EncodingName& name, const QrtXmlOptions& options) {
  if (options.encodingFlags & QRT_XGF_NATIONAL)
    return convertNationalName(name, options.encoding, options.encodingLength);
  const char* const text = static_cast<const char*>(options.encoding);
  const size_t length =
      options.encodingLength > 0 ? static_cast<size_t>(options.encodingLength) : strlen(text);
  name.text = withoutBlanks(std::string_view(text, length));
  if (name.text.size() > longestEncodingName) name.result = QRT_XGF_LONG_ENCODING;
}

const char* defaultName(uint8_t kind) {
  if (kind == QRT_XGF_UTF16) return "UTF-16";
  return kind == QRT_XGF_EBCDIC ? nls::settledEbcdicCodePage() : nls::settledLocaleName() + codeSetAt;
}

// A number is a page of the numbered family, and nothing else.
nls::Converter openEncoding(std::string_view name) {
  UErrorCode status = U_ZERO_ERROR;
  if (!isNumeric(name)) return nls::openConverter(name, status);
  name.remove_prefix(std::min(name.find_first_not_of('0'), name.size()));
  char numbered[nls::longestCodePageName] = "qmc-";
  constexpr size_t head = 4;
  if (name.size() >= sizeof numbered - head) return {};
  const size_t length = head + name.copy(numbered + head, name.size());
  return nls::openConverter({numbered, length}, status);
}

// The ISO name of a page that has one, else its canonical name without what tells the version.
void nameEncoding(Target& target) {
  constexpr std::string_view swapped = ",swaplfnl", swappedTail = "-kx70";
  char canonical[UCNV_MAX_CONVERTER_NAME_LENGTH];
  const std::string_view name(canonical, static_cast<size_t>(nls::canonicalName(
                                             target.converter.get(), canonical, sizeof canonical)));
  std::string_view kept = isoName(name), tail;
  if (kept.empty()) {
    const size_t swap = name.find(swapped);
    kept = name.substr(0, std::min(name.find('_'), swap));
    if (swap != name.npos) tail = swappedTail;
  }
  kept = kept.substr(0, sizeof target.encoding - 1 - tail.size());
  const size_t length = kept.copy(target.encoding, kept.size());
  target.encoding[length + tail.copy(target.encoding + length, tail.size())] = 0;
}

int32_t settleUtf16(Target& target, bool isGiven) {
  if (isGiven && target.ccsid != utf16Ccsid && target.ccsid != utf16BigCcsid &&
      target.ccsid != utf16MarkedCcsid)
    return QRT_XGF_NOT_UTF16;
  target.ccsid = utf16Ccsid;
  strcpy(target.encoding, "UTF-16");
  return 0;
}

bool isProgramPageNative(const char* programPage) {
  const char* const native = defaultName(QRT_XGF_ASCII);
  if (strcmp(programPage, native) == 0) return true;
  int32_t programCcsid, nativeCcsid;
  qrtGetCCSID(programPage, &programCcsid);
  qrtGetCCSID(native, &nativeCcsid);
  return programCcsid == nativeCcsid;
}

int32_t settleBytes(Target& target, const char* programPage, const QrtXmlOptions* options) {
  const bool native = target.kind == QRT_XGF_ASCII, isUtf8 = target.ccsid == utf8Ccsid;
  const int32_t unsupported = native ? QRT_XGF_NOT_ASCII : QRT_XGF_NOT_EBCDIC;
  if (target.ccsid == 0 || (ucnv_getMaxCharSize(target.converter.get()) > 1 && !isUtf8)) return unsupported;
  if (options != nullptr) {
    if (!isUtf8 && (options->flags & QRT_XGF_UNICODE_ONLY)) return QRT_XGF_NOT_UNICODE;
    if (!(native && isUtf8) && callerClassOf(target.ccsid) != (native ? asciiSingle : ebcdicSingle))
      return QRT_XGF_WRONG_FAMILY;
  }
  if (!isProgramPageNative(programPage)) return QRT_XGF_PROGRAM_CODE_SET;
  // Bytes above 0x7F are ordinary in UTF-8, as they are in Latin-1.
  target.block = blockOf(isUtf8 ? latin1Ccsid : target.ccsid, native ? Family::ascii : Family::ebcdic);
  return target.block != nullptr ? 0 : unsupported;
}

}  // namespace

int32_t settleTarget(Target& target, int32_t version, const char* programPage, const QrtXmlOptions* options) {
  qrtSetLocaleCP();
  const bool isGiven = options != nullptr && options->encoding != nullptr;
  EncodingName name = {.national = {}, .text = defaultName(target.kind), .result = 0};
  if (isGiven) takeGivenName(name, *options);
  if (name.result != 0) return name.result;
  target.converter = openEncoding(name.text);
  if (target.converter == nullptr) return QRT_XGF_NO_ENCODING;
  nameEncoding(target);
  UErrorCode status = U_ZERO_ERROR;
  target.ccsid = std::max(ucnv_getCCSID(target.converter.get(), &status), 0);
  if (U_FAILURE(status)) return QRT_XGF_NO_CCSID;
  if (version <= 100 && target.ccsid == 0) return QRT_XGF_WRONG_FAMILY;
  if (target.kind == QRT_XGF_UTF16) return settleUtf16(target, isGiven);
  return settleBytes(target, programPage, options);
}

}  // namespace qrt::xml
