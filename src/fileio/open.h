// OPEN and the end of each CLOSE, whatever the file system.
#pragma once

#include "qrtrlib.h"

namespace qrt::fileio {

// OPEN of a closed file: finds its name and file system, and lets the adapter open it.
void genericOpen(QrtFcb* file, QrtProgramEntry* program);

}  // namespace qrt::fileio
