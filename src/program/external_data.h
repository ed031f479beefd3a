// EXTERNAL data items, and names of methods. The inner functions behind the entries of these names, with
// their arguments (see qrtrlib.h).
#pragma once

#include "qrtrlib.h"

namespace qrt::program {

void extVarInit(const QrtExternalList* list, void** slots);

void moveMethodName(char* destination, const char* source, uint32_t length);

}  // namespace qrt::program
