// Files that hold what doesn't fit in memory: whole pieces are added and read back.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qrt::platform {

// Adds a piece to the file, which is made when it isn't there. False leaves the file as it was.
bool appendToFile(const char* name, const void* piece, size_t length);

// Reads up to `length` bytes from `offset` on; fewer at the end of the file. -1 when the file can't be read.
int64_t readFromFile(const char* name, uint64_t offset, void* piece, size_t length);

void removeFile(const char* name);

// Numbers that tell processes apart, and threads of the process.
int processNumber();
unsigned long currentThreadNumber();

}  // namespace qrt::platform
