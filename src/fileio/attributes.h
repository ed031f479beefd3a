// The check that programs which share an EXTERNAL file describe it alike.
#pragma once

#include "qrtrlib.h"

namespace qrt::fileio {

// Ends the run with message 75 and the list of differences when the program that is being entered describes
// the file unlike the program that made it.
void checkAttributes(const QrtFileDescription& shared, const QrtFileDescription& entering,
                     const QrtProgramBlock& program);

}  // namespace qrt::fileio
