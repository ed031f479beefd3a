// Threads that work beside the calling one.
#pragma once

#include <pthread.h>
#include <stdint.h>

namespace qrt::platform {

struct Worker {
  pthread_t thread;
  void (*routine)(void* argument);
  void* argument;
};

// Starts `worker.routine` on a thread of its own; `worker` stays in place until the thread has been waited
// for. Returns 0 or the system's error number.
int32_t startWorker(Worker& worker);

void waitForWorker(Worker& worker);

}  // namespace qrt::platform
