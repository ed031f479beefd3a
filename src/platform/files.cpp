// Files by handle.
#include "platform/files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "platform/errors.h"
#include "platform/paths.h"

namespace qrt::platform {
namespace {

// Runs one call of the system until no signal interrupts it.
template <typename Call>
int32_t call(Call&& attempt) {
  ssize_t result;
  do result = attempt();
  while (result < 0 && errno == EINTR);
  if (result < 0) setLastError(errorNumberOf(errno));
  return static_cast<int32_t>(result);
}

FileHandle openNative(std::string_view name, int flags) {
  const NativePath path(name);
  if (!path.fits) errno = ENAMETOOLONG;
  return call([&] { return path.fits ? open(path.text, flags | O_CLOEXEC, 0666) : -1; });
}

// Repeats a move of bytes until all are moved or one moves none.
template <typename Move>
int32_t moveFully(size_t bytes, Move&& move) {
  size_t done = 0;
  while (done < bytes) {
    const int32_t count = move(done);
    if (count < 0 && done == 0) return -1;
    if (count <= 0) break;
    done += static_cast<size_t>(count);
  }
  return static_cast<int32_t>(done);
}

}  // namespace

FileHandle createFile(std::string_view name) {
  return openNative(name, O_WRONLY | O_CREAT | O_TRUNC);
}

FileHandle openFileForReading(std::string_view name) {
  return openNative(name, O_RDONLY);
}

int32_t readFile(FileHandle file, void* target, size_t bytes) {
  return call([&] { return read(file, target, bytes); });
}

int32_t writeFile(FileHandle file, const void* source, size_t bytes) {
  return call([&] { return write(file, source, bytes); });
}

int32_t readFully(FileHandle file, void* target, size_t bytes) {
  return moveFully(
      bytes, [&](size_t done) { return readFile(file, static_cast<char*>(target) + done, bytes - done); });
}

int32_t writeFully(FileHandle file, const void* source, size_t bytes) {
  return moveFully(bytes, [&](size_t done) {
    return writeFile(file, static_cast<const char*>(source) + done, bytes - done);
  });
}

bool reserveSpace(FileHandle file, int64_t bytes) {
  // Blocks that are really taken cost a file that is soon deleted many times its writing, so they are only
  // where others might come first. Elsewhere the file system holds the space back when it is written to.
  constexpr uint64_t plenty = 64;
  struct statvfs found;
  if (fstatvfs(file, &found) == 0 &&
      found.f_bavail / plenty >= static_cast<uint64_t>(bytes) / found.f_frsize + 1)
    return true;
  int failure;
  do failure = posix_fallocate(file, 0, bytes);
  while (failure == EINTR);
  if (failure != 0) setLastError(errorNumberOf(failure));
  return failure == 0;
}

int64_t fileSize(std::string_view name) {
  const NativePath path(name);
  struct stat found;
  return path.fits && stat(path.text, &found) == 0 ? found.st_size : -1;
}

int64_t fileSize(FileHandle file) {
  struct stat found;
  return fstat(file, &found) == 0 ? found.st_size : -1;
}

bool closeFile(FileHandle file) {
  if (close(file) == 0 || errno == EINTR) return true;
  setLastError(errorNumberOf(errno));
  return false;
}

bool deleteFile(std::string_view name) {
  const NativePath path(name);
  return path.fits && unlink(path.text) == 0;
}

}  // namespace qrt::platform
