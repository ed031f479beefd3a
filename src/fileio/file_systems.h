// The file systems: their names, codes and adapter modules.
#pragma once

#include <stdint.h>

#include <string_view>

#include "qrtrlib.h"

namespace qrt::fileio {

// Codes of file systems that are named in the code.
inline constexpr int32_t otherFileSystem = 0;
inline constexpr int32_t keyedFileSystem = 1;
inline constexpr int32_t servedFileSystem = 2;
inline constexpr int32_t nativeFileSystem = 4;
inline constexpr int32_t fileSystemCount = 10;

// A name that a file or a run may give, and what it stands for.
struct FileSystemName {
  std::string_view given;
  std::string_view inUse;
  int32_t code;
};

// The entry of three letters in upper case as an assignment or a description may give them, or null.
const FileSystemName* findFileSystem(std::string_view letters);

// The entry of the default file system of a run; letters that aren't known stand for PLT.
const FileSystemName& defaultFileSystem(std::string_view letters);

// Name of the adapter module, null for a file system without one.
const char* adapterModule(int32_t code);

// The adapters of the process, one row for each code.
extern QrtAdapterRow adapterRows[fileSystemCount];

// Finds the adapter of a code, loading it on first use. False when the code has none, or its module can't be
// loaded or isn't an adapter.
bool loadAdapter(int32_t code);

}  // namespace qrt::fileio
