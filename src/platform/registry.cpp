// The registry over a tree of directories and files.
#include "platform/registry.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "platform/file_state.h"

namespace qrt::platform {
namespace {

NativePath registryRoot() {
  if (const char* root = getenv("QRT_REGISTRY")) return NativePath(root);
  const char* home = getenv("HOME");
  NativePath path(home != nullptr ? home : "");
  path.append("/.config/qrtrlib/registry");
  return path;
}

// Names stay inside the tree.
bool isName(std::string_view part) {
  return !part.empty() && part != "." && part != ".." && std::none_of(part.begin(), part.end(), isSeparator);
}

void appendName(NativePath& path, std::string_view name) {
  path.append("/");
  path.append(name);
}

// The first line of a file of bytes; longer ones than `room` bytes are refused.
bool readLine(const char* fileName, char* line, size_t room, size_t& length) {
  const int file = open(fileName, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return false;
  struct stat status;
  const bool regular = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  ssize_t count = 1;
  for (length = 0; regular && length < room && count > 0; length += static_cast<size_t>(std::max(count, 0)))
    count = read(file, line + length, room - length);
  close(file);
  if (!regular || count < 0) return false;
  const auto* end = static_cast<const char*>(memchr(line, '\n', length));
  if (end == nullptr) return length < room;
  length = static_cast<size_t>(end - line);
  return true;
}

}  // namespace

bool openRegistryKey(std::string_view hive, std::string_view subkey, RegistryKey& key) {
  key.directory = registryRoot();
  if (!isName(hive)) return false;
  appendName(key.directory, hive);
  for (std::string_view rest = subkey; !rest.empty();) {
    const std::string_view part = rest.substr(0, rest.find_first_of("\\/"));
    if (!isName(part)) return false;
    appendName(key.directory, part);
    rest.remove_prefix(std::min(part.size() + 1, rest.size()));
  }
  return key.directory.fits && directoryExists(key.directory.text);
}

bool queryRegistryValue(const RegistryKey& key, std::string_view name, char* buffer, uint32_t size) {
  constexpr size_t longestLine = 4096;
  NativePath path = key.directory;
  appendName(path, name);
  char line[longestLine];
  size_t length;
  if (!isName(name) || !path.fits || !readLine(path.text, line, sizeof(line), length) || length >= size)
    return false;
  memcpy(buffer, line, length);
  buffer[length] = 0;
  return true;
}

}  // namespace qrt::platform
