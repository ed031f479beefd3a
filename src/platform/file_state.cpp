// What the system knows of a file.
#include "platform/file_state.h"

#include <errno.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "platform/paths.h"

namespace qrt::platform {

FileState stateOf(std::string_view name) {
  const NativePath path(name);
  struct stat found;
  if (!path.fits || stat(path.text, &found) != 0) {
    const int error = path.fits ? errno : ENAMETOOLONG;
    return {.error = error, .isMissing = saysMissing(error), .isRegular = {}, .isDirectory = {}, .age = 0};
  }
  return {.error = 0,
          .isMissing = false,
          .isRegular = S_ISREG(found.st_mode),
          .isDirectory = S_ISDIR(found.st_mode),
          .age = static_cast<int64_t>(time(nullptr)) - found.st_mtime};
}

bool isReadableFile(std::string_view name) {
  return isFile(name) && access(NativePath(name).text, R_OK) == 0;
}

// No file can be there under a name that the system refuses for its length.
bool saysMissing(int error) {
  return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

}  // namespace qrt::platform
