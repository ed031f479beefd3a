// Work areas of a call: on the stack up to a size, allocated above it and freed with the call.
#pragma once

#include <stdint.h>

#include "frame/message.h"
#include "qrtrlib.h"

namespace qrt::nls {

template <int32_t onStack>
class WorkArea {
 public:
  // Ends the run with message 907 when memory is short; data() is null if that comes back.
  explicit WorkArea(int32_t bytes)
      : start(bytes <= onStack ? own
                               : static_cast<uint8_t*>(_qrtMalloc(static_cast<uint32_t>(bytes),
                                                                  frame::message::outOfMemory, 0))) {}
  ~WorkArea() {
    if (start != own) _qrtCheckFree(start);
  }
  WorkArea(const WorkArea&) = delete;
  WorkArea& operator=(const WorkArea&) = delete;

  uint8_t* data() { return start; }
  template <typename Unit>
  Unit* as() {
    return reinterpret_cast<Unit*>(start);
  }

 private:
  alignas(4) uint8_t own[onStack];
  uint8_t* start;
};

}  // namespace qrt::nls
