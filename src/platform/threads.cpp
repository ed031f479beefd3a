// Numbers of threads, mutexes for callers.
#include "platform/threads.h"

#include <unistd.h>

namespace qrt::platform {

int32_t currentThreadId() {
  return gettid();
}

int32_t currentProcessId() {
  return getpid();
}

void makeMutex(Mutex& mutex) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

}  // namespace qrt::platform
