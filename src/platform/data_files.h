// Files read and written as a whole by descriptor, and what the system knows of a file.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qrt::platform {

// What a name stands for. Of one that can't be asked about, only the error is set.
struct FileState {
  int error;  // errno, 0 for none
  bool isMissing;
  bool isRegular;
  bool isDirectory;
  int64_t age;  // seconds since its last change; negative for one of the future
};

FileState stateOf(const char* name);

// Whether this process may read the file.
bool isFileReadable(const char* name);

// Deletes a file; returns errno, 0 for success.
int deleteFile(const char* name);

enum class OpenFor : uint8_t { update, creation };

// Opens a file for reading and writing; -1 with errno set. Creation refuses a file that exists, and makes one
// that only its owner can read and write.
int openDataFile(const char* name, OpenFor purpose);

// The calls of the system, each tried once: -1 with errno set.
bool seekToStart(int descriptor);
ptrdiff_t readSome(int descriptor, void* bytes, size_t count);
ptrdiff_t writeSome(int descriptor, const void* bytes, size_t count);
bool closeDataFile(int descriptor);

// Whether a transfer that failed with that errno is worth another try as it stands.
bool isWorthRetrying(int error);

}  // namespace qrt::platform
