#include "platform/work_files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/paths.h"

namespace qrt::platform {
namespace {

// How much of the piece went through; short of `length` at the end of the file or on an error.
template <typename Transfer>
size_t transferAll(size_t length, Transfer transfer) {
  size_t done = 0;
  while (done < length) {
    const ssize_t count = transfer(done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<size_t>(count);
  }
  return done;
}

}  // namespace

bool appendToFile(const char* name, const void* piece, size_t length) {
  const int file = open(NativePath(name).text, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0) return false;
  struct stat before;
  bool good = fstat(file, &before) == 0;
  if (good) {
    const auto* bytes = static_cast<const char*>(piece);
    good =
        transferAll(length, [&](size_t done) { return write(file, bytes + done, length - done); }) == length;
    if (!good && ftruncate(file, before.st_size) != 0) errno = EIO;
  }
  return close(file) == 0 && good;
}

int64_t readFromFile(const char* name, uint64_t offset, void* piece, size_t length) {
  const int file = open(NativePath(name).text, O_RDONLY | O_CLOEXEC);
  if (file < 0) return -1;
  errno = 0;
  auto* bytes = static_cast<char*>(piece);
  const size_t done = transferAll(length, [&](size_t soFar) {
    return pread(file, bytes + soFar, length - soFar, static_cast<off_t>(offset + soFar));
  });
  const bool failed = done < length && errno != 0;
  close(file);
  return failed ? -1 : static_cast<int64_t>(done);
}

void removeFile(const char* name) {
  unlink(NativePath(name).text);
}

int processNumber() {
  return getpid();
}

unsigned long currentThreadNumber() {
  return static_cast<unsigned long>(gettid());
}

}  // namespace qrt::platform
