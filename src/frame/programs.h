// Programs as the run unit knows them: what the life of the run unit asks of them.
#pragma once

#include "qrtrlib.h"

namespace qrt::frame {

// The next program that is entered is the main program of the run unit.
void expectMainProgram();

// The same on behalf of a host; no _qrtPgmInit with a null block takes it back.
void expectMainProgramOfHost();

// Closes the files of all programs of the current run unit and unbinds them, frees their modules, and frees
// the EXTERNAL file control blocks. The tables stay.
void closePrograms();

}  // namespace qrt::frame
