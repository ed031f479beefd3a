// Mutexes, and the critical section of the start of the process.
#pragma once

#include <pthread.h>

namespace qrt::platform {

// The handle of a new mutex that nobody owns; null when memory is short.
void* makeMutex();

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
    pthread_mutex_t& mutex;
  };

 private:
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace qrt::platform
