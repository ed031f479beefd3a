// The collating tables that a compiled program asks for: the inner functions behind the entries of those
// names.
#pragma once

#include "qrtrlib.h"

namespace qrt::nls {

void fillEbcdicTables(QrtProgramBlock* program);
void fillCollatingTables(QrtProgramBlock* program);

}  // namespace qrt::nls
