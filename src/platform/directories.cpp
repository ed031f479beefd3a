// Directories by the names that callers give.
#include "platform/directories.h"

#include <dirent.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrt::platform {

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
  if (!path.fits) path.text[0] = 0;
  path.length = strlen(path.text);
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
