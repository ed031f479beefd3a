// Text files behind buffered streams.
#include "platform/text_files.h"

#include <errno.h>
#include <sys/stat.h>

#include "platform/paths.h"

namespace qrt::platform {

FILE* openTextFile(const char* name, const char* mode) {
  FILE* stream = openStream(name, mode);
  if (stream == nullptr) return nullptr;
  struct stat status;
  if (fstat(fileno(stream), &status) != 0 || !S_ISDIR(status.st_mode)) return stream;
  fclose(stream);
  errno = EISDIR;
  return nullptr;
}

OpenFailure openFailureOf(int systemError) {
  switch (systemError) {
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      return OpenFailure::refused;
    case EBUSY:
    case ETXTBSY:
      return OpenFailure::inUse;
    default:
      return OpenFailure::other;
  }
}

}  // namespace qrt::platform
