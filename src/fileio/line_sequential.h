// Line sequential files: text, one line a record.
#pragma once

#include "qrtrlib.h"

namespace qrt::fileio {

void openLineSequential(QrtFcb* file, QrtProgramEntry* program);
void readLineSequential(QrtFcb* file, QrtProgramEntry* program);
void writeLineSequential(QrtFcb* file, QrtProgramEntry* program);
void closeLineSequential(QrtFcb* file, QrtProgramEntry* program);

}  // namespace qrt::fileio
