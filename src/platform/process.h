// The process as a whole: its abnormal end, and what of its memory can be read.
#pragma once

namespace qrt::platform {

// Ends the process with exit code 3 once its streams are flushed; nothing else of it is run down.
[[noreturn]] void endAbnormally();

// Whether the byte can be read.
bool isReadable(const void* address);

}  // namespace qrt::platform
