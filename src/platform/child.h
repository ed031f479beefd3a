// Programs that are run for a caller who waits for them.
#pragma once

#include <stdint.h>

namespace qrt::platform {

// Runs the program named by the first word, found along PATH when it is a bare name, with all words as its
// arguments, and waits for its end. The words end with a null. No shell takes part. The result is the
// program's exit status, or 128 and the number of the signal that ended it; -1 when it can't be started.
int32_t runProgram(char* const words[]);

}  // namespace qrt::platform
