// OPEN and the end of each CLOSE, whatever the file system.
#pragma once

#include "qrtrlib.h"

namespace qrt::fileio {

// OPEN of a closed file: finds its name and file system, and lets the adapter open it.
void genericOpen(QrtFcb* file, QrtProgramEntry* program);

// Closes the member of a concatenation that has been read and opens the next one that is there: 1 for an open
// member, 0 behind the last, -1 for one that can't be opened. The file's status follows and is reported.
int32_t openNextMember(QrtFcb* file, QrtProgramEntry* program);

}  // namespace qrt::fileio
