// STRING and UNSTRING. The inner functions behind the entries of those names, with their arguments (see
// qrtrlib.h).
#pragma once

#include <cstdint>

#include "qrtrlib.h"

namespace qrt::statement {

void stringFields(QrtStringBlock* block, const QrtProgramBlock* programContext, uint32_t* overflow);
void unstringFields(QrtUnstringBlock* block, QrtUnstringReceiver* receivers,
                    const QrtProgramBlock* programContext, uint32_t* overflow);

}  // namespace qrt::statement
