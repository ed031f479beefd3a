// Faults and signals: the chain of structured exception handlers, the vectored handler ahead of it, and the
// signal routines behind it.
#pragma once

#include <signal.h>

#include "qrtrlib.h"

namespace qrt::platform {

// Returns 1 to pass the exception on, or jumps away.
using ExceptionHandler = int32_t (*)(QrtExceptionRecord* record);

struct HandlerLink {
  HandlerLink* next;
  ExceptionHandler handler;
};

// A structured handler that stands in the chain while this object lives. A jump takes the chain back by
// itself.
class InstalledHandler {
 public:
  explicit InstalledHandler(ExceptionHandler handler);
  ~InstalledHandler();
  InstalledHandler(const InstalledHandler&) = delete;
  InstalledHandler& operator=(const InstalledHandler&) = delete;

 private:
  HandlerLink link;
};

// Sees each exception ahead of the chain; null for none.
using VectoredHandler = int32_t (*)(QrtExceptionPointers* exception);
void setVectoredHandler(VectoredHandler handler);

// Makes `routine` the last resort for SIGFPE, SIGILL, SIGSEGV (which stands for every bad access) or SIGINT;
// null gives the signal its default back. When the routine returns, the default is back as well.
void setSignalRoutine(int signal, void (*routine)(int signal));

// Brings faults to the handlers for the object's life, also where no signal routine is set.
class FaultWatch {
 public:
  FaultWatch();
  ~FaultWatch();
  FaultWatch(const FaultWatch&) = delete;
  FaultWatch& operator=(const FaultWatch&) = delete;

 private:
  struct sigaction replaced[4];
};

}  // namespace qrt::platform
