// What a host has registered with the library; the lifecycle stores it, the message writer calls it.
#pragma once

#include <stdint.h>

namespace qrt::frame {

// Receives messages: flag 1 for one that ends the run, the tag "TCBL", the text and its length in bytes.
// Null for none.
extern int32_t (*messageCallback)(int32_t flag, const char* tag, const char* text, int32_t length);

// Called by an abnormal end in a container, just ahead of the end of the process. Null for none.
extern void (*abnormalEndCallback)();

}  // namespace qrt::frame
