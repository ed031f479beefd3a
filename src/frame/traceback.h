// The traceback under a message: the active programs with their line numbers.
#pragma once

#include "frame/message_text.h"
#include "qrtrlib.h"

namespace qrt::frame {

// Set while frames are being walked: a fault then ends the walk.
extern int32_t doingTraceBack;

// Appends a line for each frame from `machine`, or from the caller where that is null. Nothing without the
// line-number reader, the module dvtdrdr1.
void appendTraceback(MessageText& text, const QrtMachineContext* machine);

}  // namespace qrt::frame
