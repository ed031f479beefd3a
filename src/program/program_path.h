// Where programs are looked for: the directories of the environment variable COBPATH, a list separated by
// ";".
#pragma once

#include <string_view>

#include "platform/paths.h"

namespace qrt::program {

// The directories of COBPATH as it is now, each terminated, an empty one behind the last. Null when COBPATH
// is unset, or memory is short. The list lives to the next call; it is also cobpathCache of the process
// record.
const char* programDirectories();

// Gives the list back at the end of the process.
void releaseProgramDirectories();

// The directory behind one of the list.
inline const char* nextDirectory(const char* directory) {
  return directory + std::string_view(directory).size() + 1;
}

// A file in a directory, parted from it by a `\` where the directory doesn't end in a separator or ":".
platform::NativePath programFile(std::string_view directory, std::string_view name);

}  // namespace qrt::program
