// Files by descriptor.
#include "platform/data_files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "platform/paths.h"

namespace qrt::platform {
namespace {

// No file can be there under a name that the system refuses for its length.
bool saysMissing(int error) {
  return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

}  // namespace

FileState stateOf(const char* name) {
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

bool isFileReadable(const char* name) {
  const NativePath path(name);
  return path.fits && access(path.text, R_OK) == 0;
}

int deleteFile(const char* name) {
  const NativePath path(name);
  if (!path.fits) return ENAMETOOLONG;
  return unlink(path.text) == 0 ? 0 : errno;
}

int openDataFile(const char* name, OpenFor purpose) {
  const NativePath path(name);
  if (!path.fits) {
    errno = ENAMETOOLONG;
    return -1;
  }
  const int extra = purpose == OpenFor::creation ? O_CREAT | O_EXCL : 0;
  return open(path.text, O_RDWR | O_CLOEXEC | extra, S_IRUSR | S_IWUSR);
}

bool seekToStart(int descriptor) {
  return lseek(descriptor, 0, SEEK_SET) == 0;
}

ptrdiff_t readSome(int descriptor, void* bytes, size_t count) {
  return read(descriptor, bytes, count);
}

ptrdiff_t writeSome(int descriptor, const void* bytes, size_t count) {
  return write(descriptor, bytes, count);
}

bool closeDataFile(int descriptor) {
  return close(descriptor) == 0;
}

bool isWorthRetrying(int error) {
  return error == EINTR || error == EAGAIN;
}

}  // namespace qrt::platform
