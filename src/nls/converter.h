// ICU converters by the system's names of code pages. Pages of the QMC family are known to ICU by number;
// every other name is ICU's own.
#pragma once

#include <stdint.h>
#include <unicode/ucnv.h>

#include <memory>
#include <string_view>

namespace qrt::nls {

inline constexpr int32_t longestCodePageName = 31;

// The code of an ICU status as the system reports it: warnings are success, a cut result has one code.
constexpr int32_t resultWasCut = 11;

constexpr int32_t codeOf(UErrorCode status) {
  if (status == U_BUFFER_OVERFLOW_ERROR) return resultWasCut;
  return U_FAILURE(status) ? status : 0;
}

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

// Null, and a status that says why, for a name that isn't a converter. "QMC-" in either case, a number and
// "-kx70" is the variant of that page with line feed and new line exchanged.
Converter openConverter(std::string_view name, UErrorCode& status);

// Whole texts, without the terminator that ICU's own calls of this kind write. Lengths are bytes and units;
// the result is what was stored. U_BUFFER_OVERFLOW_ERROR says that it was cut.
int32_t toUnicode(UConverter* converter, const void* source, int32_t bytes, UChar* target, int32_t room,
                  UErrorCode& status);
int32_t fromUnicode(UConverter* converter, const UChar* source, int32_t units, void* target, int32_t room,
                    UErrorCode& status);

// A converter's canonical name, with "qmc" ahead of the number of a page of that family. Returns its length;
// the text is terminated and cut to `capacity`.
int32_t canonicalName(const UConverter* converter, char* name, int32_t capacity);

}  // namespace qrt::nls
