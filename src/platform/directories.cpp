// Directories by the names that callers give.
#include "platform/directories.h"

#include <dirent.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrt::platform {

bool directoryExists(std::string_view name) {
  const NativePath path(name);
  struct stat found;
  return path.fits && stat(path.text, &found) == 0 && S_ISDIR(found.st_mode);
}

bool makeDirectory(std::string_view name) {
  const NativePath path(name);
  return path.fits && mkdir(path.text, 0777) == 0;
}

bool removeDirectory(std::string_view name) {
  const NativePath path(name);
  return path.fits && rmdir(path.text) == 0;
}

NativePath currentDirectory() {
  NativePath path;
  path.fits = getcwd(path.text, sizeof(path.text)) != nullptr;
  path.length = path.fits ? strlen(path.text) : 0;
  return path;
}

DirectoryNames::DirectoryNames(std::string_view directory) {
  const NativePath path(directory);
  handle = path.fits ? opendir(path.text) : nullptr;
}

DirectoryNames::~DirectoryNames() {
  if (handle != nullptr) closedir(static_cast<DIR*>(handle));
}

const char* DirectoryNames::next() {
  const dirent* const entry = handle != nullptr ? readdir(static_cast<DIR*>(handle)) : nullptr;
  return entry != nullptr ? entry->d_name : nullptr;
}

}  // namespace qrt::platform
