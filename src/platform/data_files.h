// Files read and written by descriptor, and the deletion of files.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qrt::platform {

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
