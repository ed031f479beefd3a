// Other programs, started without a shell.
#pragma once

#include <stdint.h>

namespace qrt::platform {

enum class CommandOutput : uint8_t { shared, discarded };

// How a program that was waited for has ended.
struct CommandEnd {
  bool hasRun;         // false when it couldn't be started, see lastError(), or nobody knows how it ended
  int32_t exitStatus;  // 0 when a signal ended it
  int32_t signal;      // 0 when it exited by itself

  bool succeeded() const { return hasRun && exitStatus == 0 && signal == 0; }
};

// Runs the program that the first word names, looked for along PATH when it is a bare name, with all the
// words up to a null as its arguments, and waits for its end. No word is looked into: quotes, blanks and
// wildcards are characters like any other. Discarded output goes nowhere, from standard output and standard
// error alike; what this process still buffers for shared output is the caller's to flush.
CommandEnd runCommand(const char* const* words, CommandOutput output);

}  // namespace qrt::platform
