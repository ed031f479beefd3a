// Files by handle: whole blocks in single calls of the system.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace qrt::platform {

using FileHandle = int32_t;
inline constexpr FileHandle noFile = -1;
inline constexpr FileHandle standardInputFile = 0;
inline constexpr FileHandle standardOutputFile = 1;
inline constexpr FileHandle standardErrorFile = 2;

// By the names that callers give; noFile and lastError() on failure. A created file replaces an old one.
FileHandle createFile(std::string_view name);
FileHandle openFileForReading(std::string_view name);

// Bytes moved, fewer than asked for at the end of the file or of the disk; -1 and lastError() on failure.
int32_t readFile(FileHandle file, void* target, size_t bytes);
int32_t writeFile(FileHandle file, const void* source, size_t bytes);

// The same in as many calls as it takes; fewer bytes only at the end of the file, and on failure.
int32_t readFully(FileHandle file, void* target, size_t bytes);
int32_t writeFully(FileHandle file, const void* source, size_t bytes);

// Makes sure that the disk has room for `bytes`, so that a full one shows here, and reserves them where room
// is scarce; false and lastError() on failure.
bool reserveSpace(FileHandle file, int64_t bytes);

// Bytes of a file, -1 when that can't be told.
int64_t fileSize(std::string_view name);
int64_t fileSize(FileHandle file);

// False and lastError() when the system has bytes left that it can't write; the handle is gone all the same.
bool closeFile(FileHandle file);
bool deleteFile(std::string_view name);

}  // namespace qrt::platform
