// Threads that work beside the calling one.
#include "platform/workers.h"

#include <limits.h>

#include "platform/errors.h"

namespace qrt::platform {
namespace {

// Workers write messages and build file names; the pages that they don't touch cost nothing.
constexpr size_t stackSize = 256 * 1024;

void* runWorker(void* argument) {
  const Worker& worker = *static_cast<Worker*>(argument);
  worker.routine(worker.argument);
  return nullptr;
}

}  // namespace

int32_t startWorker(Worker& worker) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stackSize);
  const int failure = pthread_create(&worker.thread, &attributes, runWorker, &worker);
  pthread_attr_destroy(&attributes);
  return failure == 0 ? 0 : errorNumberOf(failure);
}

void waitForWorker(Worker& worker) {
  pthread_join(worker.thread, nullptr);
}

}  // namespace qrt::platform
