// One run of the engine, and its end from outside.
#pragma once

#include "sort/engine/parse.h"

namespace qrt::sort {

// Runs the engine. Returns 0, or the number of the first error, or what else ended the run.
int32_t runEngine(const EngineArguments& arguments);

// Ends running sessions, those with that callback context or all for null, with `reason` as their return
// code. They clean up on their own threads; from the files of those of the calling thread nothing is left at
// once.
void endSessions(int32_t reason, const void* callbackContext);

}  // namespace qrt::sort
