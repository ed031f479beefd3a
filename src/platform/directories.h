// Directories by the names that callers give.
#pragma once

#include <string_view>

#include "platform/paths.h"

namespace qrt::platform {

bool makeDirectory(std::string_view name);
bool removeDirectory(std::string_view name);

// The current directory; empty, with `fits` false, when it has no name that fits.
NativePath currentDirectory();

// The names in a directory, in no particular order; none when it can't be read.
class DirectoryNames {
 public:
  explicit DirectoryNames(std::string_view directory);
  ~DirectoryNames();
  DirectoryNames(const DirectoryNames&) = delete;
  DirectoryNames& operator=(const DirectoryNames&) = delete;

  // The next name, valid until the next call; null behind the last.
  const char* next();

 private:
  void* handle;
};

}  // namespace qrt::platform
