// Mutexes by handle.
#include "platform/threads.h"

#include <stdlib.h>

namespace qrt::platform {

void* makeMutex() {
  auto* mutex = static_cast<pthread_mutex_t*>(malloc(sizeof(pthread_mutex_t)));
  if (mutex != nullptr) pthread_mutex_init(mutex, nullptr);
  return mutex;
}

}  // namespace qrt::platform
