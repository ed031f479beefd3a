// The standard COBOL files of the process record, opened and closed together with it.
#pragma once

#include "qrtrlib.h"

namespace qrt::frame {

// Opens the stream of DISPLAY; standard output when no variable names a file that can be opened.
void openSysout();

// Closes the streams of the process record that are the library's own.
void closeStandardFiles();

}  // namespace qrt::frame
