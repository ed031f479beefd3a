// Directories by the names that callers give.
#include "platform/directories.h"

#include <sys/stat.h>

#include "platform/paths.h"

namespace qrt::platform {

bool directoryExists(std::string_view name) {
  const NativePath path(name);
  struct stat found;
  return path.fits && stat(path.text, &found) == 0 && S_ISDIR(found.st_mode);
}

}  // namespace qrt::platform
