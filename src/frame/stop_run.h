// The stop-run pairs of a container: one for each depth of hosted run units.
#pragma once

#include "qrtrlib.h"

namespace qrt::frame {

// Makes the pair that of the current depth, _qrtIsTrax. False, after message 907, when memory is short.
bool setStopRunPair(QrtHostRoutine routine, void* context);

// The pair of the current depth, or null when no routine is registered for it.
const QrtStopRunPair* currentStopRunPair();

// Back to the static table, with the pairs that it has room for.
void resetStopRunTable();

}  // namespace qrt::frame
