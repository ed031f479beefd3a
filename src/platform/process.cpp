// The process as a whole.
#include "platform/process.h"

#include <errno.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qrt::platform {

void endAbnormally() {
  fflush(nullptr);
  _exit(3);
}

bool isReadable(const void* address) {
  // The kernel reads the new mask, eight bytes that share a page when they are aligned, before it refuses the
  // unknown request: a fault comes back as an error number instead of a signal.
  constexpr int noSuchRequest = -1;
  const uintptr_t aligned = reinterpret_cast<uintptr_t>(address) & ~uintptr_t{7};
  const int kept = errno;
  const long result = syscall(SYS_rt_sigprocmask, noSuchRequest, aligned, nullptr, 8);
  const bool readable = aligned != 0 && result == -1 && errno != EFAULT;
  errno = kept;
  return readable;
}

}  // namespace qrt::platform
