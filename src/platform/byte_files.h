// Files as plain bytes behind handles: names are the callers', failures leave their number in lastError().
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace qrt::platform {

inline constexpr int32_t noFile = -1;

inline constexpr int32_t standardInput = 0;
inline constexpr int32_t standardOutput = 1;
inline constexpr int32_t standardError = 2;

// For reading from start to end; the file must exist. `noFile` on failure.
int32_t openForReading(std::string_view name);

// Creates a file anew, for writing from start to end. `noFile` on failure.
int32_t createForWriting(std::string_view name);

// Really reserves the space from the start to `bytes`: a full disk shows here. False on failure.
bool reserveSpace(int32_t file, int64_t bytes);

// Bytes read, less than asked for only at the end of the file; -1 on failure.
ptrdiff_t readFile(int32_t file, void* target, size_t bytes);

// Bytes written; less than asked for, or -1, on failure.
ptrdiff_t writeFile(int32_t file, const void* source, size_t bytes);

bool closeFile(int32_t file);
bool deleteFile(std::string_view name);

// Bytes of a file, -1 when it can't be told.
int64_t fileSize(std::string_view name);
int64_t fileSize(int32_t file);

bool makeDirectory(std::string_view name);
bool removeDirectory(std::string_view name);

int32_t processId();

}  // namespace qrt::platform
