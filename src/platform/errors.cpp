// Error numbers.
#include "platform/errors.h"

#include <errno.h>

namespace qrt::platform {
namespace {
thread_local int32_t lastNumber = 0;
}

int32_t errorNumberOf(int systemError) {
  switch (systemError) {
    case ENOENT:
      return fileNotFound;
    case ENOTDIR:
      return pathNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
      return accessDenied;
    case EBADF:
      return invalidHandle;
    case ENOMEM:
      return notEnoughMemory;
    case ETXTBSY:
    case EBUSY:
      return sharingViolation;
    case EEXIST:
      return fileExists;
    case ENOSPC:
    case EDQUOT:
      return diskFull;
    default:
      return systemError;
  }
}

int32_t lastError() {
  return lastNumber;
}

void setLastError(int32_t number) {
  lastNumber = number;
}

}  // namespace qrt::platform
