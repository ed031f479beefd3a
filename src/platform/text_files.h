// Text files behind buffered streams: a line end on disk is one line feed.
#pragma once

#include <stdint.h>
#include <stdio.h>

namespace qrt::platform {

bool fileExists(const char* name);

// Opens a stream over a caller's name, or returns null with errno set. A directory is refused in every mode.
FILE* openTextFile(const char* name, const char* mode);

bool isTerminal(FILE* stream);

// What a failed open means to a file statement.
enum class OpenFailure : uint8_t { refused, inUse, other };

OpenFailure openFailureOf(int systemError);

}  // namespace qrt::platform
