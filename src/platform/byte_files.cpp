// Files as plain bytes behind handles.
#include "platform/byte_files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/errors.h"
#include "platform/paths.h"

namespace qrt::platform {
namespace {

// Notes the failure of a call of the system.
bool succeeded(bool success) {
  if (!success) setLastError(errorNumberOf(errno));
  return success;
}

int32_t openNative(std::string_view name, int flags) {
  const NativePath path(name);
  if (!path.fits) {
    setLastError(pathNotFound);
    return noFile;
  }
  int file;
  do file = open(path.text, flags | O_CLOEXEC, 0666);
  while (file < 0 && errno == EINTR);
  succeeded(file >= 0);
  return file;
}

}  // namespace

int32_t openForReading(std::string_view name) {
  const int32_t file = openNative(name, O_RDONLY);
  if (file != noFile) posix_fadvise(file, 0, 0, POSIX_FADV_SEQUENTIAL);
  return file;
}

int32_t createForWriting(std::string_view name) {
  return openNative(name, O_WRONLY | O_CREAT | O_TRUNC);
}

bool reserveSpace(int32_t file, int64_t bytes) {
  int failure;
  do failure = posix_fallocate(file, 0, bytes);
  while (failure == EINTR);
  if (failure != 0) setLastError(errorNumberOf(failure));
  return failure == 0;
}

ptrdiff_t readFile(int32_t file, void* target, size_t bytes) {
  size_t done = 0;
  while (done < bytes) {
    const ssize_t count = read(file, static_cast<char*>(target) + done, bytes - done);
    if (count < 0 && errno == EINTR) continue;
    if (!succeeded(count >= 0)) return -1;
    if (count == 0) break;
    done += static_cast<size_t>(count);
  }
  return static_cast<ptrdiff_t>(done);
}

ptrdiff_t writeFile(int32_t file, const void* source, size_t bytes) {
  size_t done = 0;
  while (done < bytes) {
    const ssize_t count = write(file, static_cast<const char*>(source) + done, bytes - done);
    if (count < 0 && errno == EINTR) continue;
    if (!succeeded(count >= 0)) return done == 0 ? -1 : static_cast<ptrdiff_t>(done);
    done += static_cast<size_t>(count);
  }
  return static_cast<ptrdiff_t>(done);
}

bool closeFile(int32_t file) {
  return succeeded(close(file) == 0);
}

bool deleteFile(std::string_view name) {
  const NativePath path(name);
  return path.fits && succeeded(unlink(path.text) == 0);
}

int64_t fileSize(std::string_view name) {
  const NativePath path(name);
  struct stat found;
  return path.fits && succeeded(stat(path.text, &found) == 0) ? found.st_size : -1;
}

int64_t fileSize(int32_t file) {
  struct stat found;
  return succeeded(fstat(file, &found) == 0) ? found.st_size : -1;
}

bool makeDirectory(std::string_view name) {
  const NativePath path(name);
  return path.fits && succeeded(mkdir(path.text, 0777) == 0);
}

bool removeDirectory(std::string_view name) {
  const NativePath path(name);
  return path.fits && succeeded(rmdir(path.text) == 0);
}

int32_t processId() {
  return getpid();
}

}  // namespace qrt::platform
