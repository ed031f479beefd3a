// Text streams.
#include "platform/streams.h"

#include <errno.h>
#include <stdlib.h>
#include <unistd.h>
#include <wchar.h>

namespace qrt::platform {

bool isInteractive(FILE* stream) {
  return isatty(fileno(stream)) != 0;
}

// Goes by bytes, since the wide reads of the C library would bind the stream to themselves for good.
int32_t readWideCharacter(FILE* stream) {
  mbstate_t state{};
  for (int byte; (byte = getc(stream)) != EOF;) {
    const auto narrow = static_cast<char>(byte);
    wchar_t wide = 0;
    const size_t used = mbrtowc(&wide, &narrow, 1, &state);
    if (used == static_cast<size_t>(-2)) continue;
    if (used != static_cast<size_t>(-1)) return static_cast<int32_t>(wide);
    if (MB_CUR_MAX == 1) return byte;  // the locale "C" has no rule for the upper half
    errno = EILSEQ;
    return -1;
  }
  return -1;
}

}  // namespace qrt::platform
