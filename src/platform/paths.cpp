// Opening of files by the names that callers give.
#include "platform/paths.h"

#include <errno.h>

namespace qrt::platform {

FILE* openStream(std::string_view name, const char* mode) {
  const NativePath path(name);
  if (!path.fits) {
    errno = ENAMETOOLONG;
    return nullptr;
  }
  return fopen(path.text, mode);
}

}  // namespace qrt::platform
