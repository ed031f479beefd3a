// Files by descriptor.
#include "platform/data_files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/paths.h"

namespace qrt::platform {

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
