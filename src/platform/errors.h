// Error numbers in the numbering that callers know, and the last one of each thread.
#pragma once

#include <stdint.h>

namespace qrt::platform {

inline constexpr int32_t fileNotFound = 2;
inline constexpr int32_t pathNotFound = 3;
inline constexpr int32_t accessDenied = 5;
inline constexpr int32_t invalidHandle = 6;
inline constexpr int32_t notEnoughMemory = 8;
inline constexpr int32_t sharingViolation = 32;
inline constexpr int32_t fileExists = 80;
inline constexpr int32_t diskFull = 112;
inline constexpr int32_t moduleNotFound = 126;
inline constexpr int32_t routineNotFound = 127;
inline constexpr int32_t notALoadableModule = 193;

// The number for an errno; one without a counterpart is passed as it is.
int32_t errorNumberOf(int systemError);

// The number of the calling thread's last failed call of this layer; successes leave it.
int32_t lastError();
void setLastError(int32_t number);

}  // namespace qrt::platform
