// The encoding that XML GENERATE writes in, settled from the arguments of the call.
#pragma once

#include "nls/converter.h"
#include "qrtrlib.h"
#include "xml/code_pages.h"

namespace qrt::xml {

inline constexpr int32_t utf16Ccsid = 1202, utf8Ccsid = 1208, latin1Ccsid = 819;
inline constexpr size_t codeSetAt = 6;  // in a locale name ll_CC.code-set

struct Target {
  uint8_t kind = 0;  // QRT_XGF_...
  int32_t ccsid = 0;
  nls::Converter converter;
  const CodePageBlock* block = nullptr;                // classes of the bytes; null for UTF-16
  char encoding[UCNV_MAX_CONVERTER_NAME_LENGTH] = {};  // for the declaration
};

// Settles `target`, whose kind is given. `options` is null for calls without them, `programPage` the code set
// of the program. Returns 0 or a result of the call.
int32_t settleTarget(Target& target, int32_t version, const char* programPage, const QrtXmlOptions* options);

}  // namespace qrt::xml
