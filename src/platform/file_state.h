// What the system knows of a file by the name that a caller gives.
#pragma once

#include <stdint.h>

#include <string_view>

namespace qrt::platform {

// What a name stands for. Of one that can't be asked about, only the error is set.
struct FileState {
  int error;  // errno, 0 for none
  bool isMissing;
  bool isRegular;
  bool isDirectory;
  int64_t age;  // seconds since its last change; negative for one of the future
};

FileState stateOf(std::string_view name);

inline bool isThere(std::string_view name) {
  return stateOf(name).error == 0;
}

inline bool directoryExists(std::string_view name) {
  return stateOf(name).isDirectory;
}

// Whether there is a regular file of that name, and whether this process may read it.
inline bool isFile(std::string_view name) {
  return stateOf(name).isRegular;
}
bool isReadableFile(std::string_view name);

// Whether that errno says that a file isn't there.
bool saysMissing(int error);

}  // namespace qrt::platform
