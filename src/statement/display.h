// DISPLAY. The inner function behind the entry of that name, with its arguments (see qrtrlib.h).
#pragma once

#include "qrtrlib.h"

namespace qrt::statement {

void display(const QrtDisplayControl* control, QrtDisplayItem* items);

}  // namespace qrt::statement
