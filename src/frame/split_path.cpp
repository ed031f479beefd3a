// Path splitting for compiled code.
#include <string.h>
#include <wchar.h>

#include <algorithm>
#include <string_view>

#include "platform/paths.h"
#include "qrtrlib.h"

namespace {

// Bytes of the character at `text`, in the locale's code set; a byte that opens no character stands alone.
size_t characterLength(const char* text) {
  mbstate_t fresh = {};
  const size_t length = mbrlen(text, MB_LEN_MAX, &fresh);
  return length == 0 || length > MB_LEN_MAX ? 1 : length;
}

void put(char* target, std::string_view part) {
  if (target == nullptr) return;
  *std::copy(part.begin(), part.end(), target) = 0;
}

}  // namespace

void qrtSplitPath(const char* path, char* drive, char* directory, char* name, char* extension) {
  const char* const directoryStart = path[0] != 0 && path[1] == ':' ? path + 2 : path;
  const char* nameStart = directoryStart;
  const char* dot = nullptr;
  const char* at = directoryStart;
  for (; *at != 0; at += characterLength(at)) {
    if (qrt::platform::isSeparator(*at)) {
      nameStart = at + 1;
      dot = nullptr;
    } else if (*at == '.') {
      dot = at;
    }
  }
  const char* const extensionStart = dot != nullptr ? dot : at;
  put(drive, {path, directoryStart});
  put(directory, {directoryStart, nameStart});
  put(name, {nameStart, extensionStart});
  put(extension, {extensionStart, at});
}
