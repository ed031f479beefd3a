// Failures of files, as the caller's error callback gets them.
#pragma once

#include "sort/engine/messages.h"

namespace qrt::sort {

inline constexpr int32_t readFailed = 34, writeFailed = 35, userTermination = 77,
                         systemCallFailed = 255;  // messages

namespace ErrorKind {
inline constexpr int32_t open = 0, close = 3, read = 4, write = 5;
}

// Ends the run with a code of the caller's own, without a message; returns the run's code.
int32_t endRun(SortSession& session, int32_t code);

inline void tellCallback(SortSession& session, ErrorRecord record) {
  SortRunState& run = *session.run;
  if (run.errorCallback == nullptr || run.callbackTold) return;
  run.callbackTold = true;
  record.context = run.callbackContext;
  run.errorCallback(&record);
}

}  // namespace qrt::sort
