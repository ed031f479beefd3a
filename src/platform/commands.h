// Other programs, started without a shell.
#pragma once

#include <stdint.h>

namespace qrt::platform {

enum class CommandOutput : uint8_t { shared, discarded };

// Runs the program that the first word names, looked for along PATH, with all the words up to a null as its
// arguments, and waits for its end. No word is looked into: quotes, blanks and wildcards are characters like
// any other. Discarded output goes nowhere, from standard output and standard error alike; what this process
// still buffers for shared output is the caller's to flush. Returns the exit status, or -1 when the program
// couldn't be started or didn't exit by itself.
int32_t runCommand(const char* const* words, CommandOutput output);

}  // namespace qrt::platform
