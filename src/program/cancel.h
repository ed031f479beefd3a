// CANCEL. The inner function behind _qrtCancel (see qrtrlib.h).
#pragma once

#include "qrtrlib.h"

namespace qrt::program {

int32_t cancel(const QrtCallTable* table, int32_t nameLength, const char* name, QrtProgramBlock* caller);

}  // namespace qrt::program
