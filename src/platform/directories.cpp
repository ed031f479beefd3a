// Directories by the names that callers give.
#include "platform/directories.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrt::platform {

bool directoryExists(std::string_view name) {
  const NativePath path(name);
  struct stat found;
  return path.fits && stat(path.text, &found) == 0 && S_ISDIR(found.st_mode);
}

NativePath currentDirectory() {
  NativePath path;
  path.fits = getcwd(path.text, sizeof(path.text)) != nullptr;
  path.length = path.fits ? strlen(path.text) : 0;
  return path;
}

}  // namespace qrt::platform
