// Signals taken over for a while by a part of the process.
#pragma once

namespace qrt::platform {

// Makes `routine` the handler of the signals that end a process (hang-up, interrupt and termination from
// outside; abort, illegal instruction, arithmetic fault and bad access from inside). Nests: the first hook
// counts until the last unhook puts back what was there before it.
void hookSignals(void (*routine)(int signal));
void unhookSignals();

// Whether the signal comes from the instruction itself, which would fault again if its handler returned.
bool isFault(int signal);

// Lets the signal have its default effect on return from its handler.
void letSignalEnd(int signal);

// Ends the process at once, nothing run down. Safe in a handler.
[[noreturn]] void endAtOnce(int exitCode);

void sleepMilliseconds(int milliseconds);

}  // namespace qrt::platform
