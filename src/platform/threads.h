// Threads by their numbers, mutexes for callers, and the critical section of the start of the process.
#pragma once

#include <pthread.h>
#include <stdint.h>

namespace qrt::platform {

using Mutex = pthread_mutex_t;

// Makes a mutex that nobody owns. Its owner may take it again, and gives it back as often.
void makeMutex(Mutex& mutex);

// The system's numbers of the calling thread, the thread's life long, and of the process.
int32_t currentThreadId();
int32_t currentProcessId();

// Usable without a constructor having run; entered through its scope.
class CriticalSection {
 public:
  class Scope {
   public:
    explicit Scope(CriticalSection& section) : mutex(section.mutex) { pthread_mutex_lock(&mutex); }
    ~Scope() { pthread_mutex_unlock(&mutex); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    Mutex& mutex;
  };

 private:
  Mutex mutex = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace qrt::platform
