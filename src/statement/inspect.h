// INSPECT: a whole statement of TALLYING, REPLACING and CONVERTING phrases over one item. The inner function
// behind the entry _qrtcInspect (see qrtrlib.h).
#pragma once

#include "qrtrlib.h"

namespace qrt::statement {

void inspect(const QrtInspectBlock* block);

}  // namespace qrt::statement
