// Files by handle.
#include "platform/files.h"

#include <errno.h>
#include <fcntl.h>
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

void closeFile(FileHandle file) {
  close(file);
}

}  // namespace qrt::platform
