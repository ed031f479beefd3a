// One run of the engine, and how a thread finds the run that it works for.
#pragma once

#include <stdint.h>

#include <atomic>

#include "platform/threads.h"
#include "sort/engine/file_service.h"
#include "sort/engine/memory.h"
#include "sort/engine/options.h"

namespace qrt::sort {

struct SortSession;
struct SortWorkState;  // buffers, runs and phase functions: work_state.h

using ErrorRecord = QrtSortErrorRecord;
using ErrorCallback = QrtSortErrorCallback;

// Counters of a run, for the totals.
struct RunCounters {
  int64_t bytesRead;
  int64_t bytesSkipped, recordsSkipped;
  int64_t bytesFiltered, recordsFiltered;
  int64_t bytesPassed, recordsPassed;  // passed on to the key step
  int64_t bytesEqual, recordsEqual;    // dropped by -u
  int64_t bytesSummed, recordsSummed;  // added into another
  int64_t bytesWritten, recordsWritten;
};

// Limits, messages, trace and counters of a run.
struct SortRunState {
  SortLimits limits;
  RunCounters counters;
  int32_t messageFile;  // handle, -1 for none
  int32_t traceFile;    // handle, -1 for none
  int32_t traceDepth;
  char* catalogue;  // what was read of the message catalogue, terminated, or null
  int32_t catalogueSize;
  // Removes what a run would leave behind on disk when a signal ends it; null while there is nothing.
  void (*removeFiles)(SortSession& session);
  ErrorCallback errorCallback;
  void* callbackContext;
  bool callbackTold;
  const FileService* fileService;  // null when all files are native
};

// A worker thread of the session.
struct WorkerSlot {
  int32_t threadId;  // 0 for none
  std::atomic<bool> running;
};

struct SortSession {
  int32_t threadId;            // of the creating thread
  platform::Mutex lock;        // of return code and running flag
  platform::Mutex workerLock;  // of the worker slots
  int32_t slot;                // in the session table, -1 outside
  std::atomic<int32_t> returnCode{0};
  std::atomic<bool> running{true};
  std::atomic<bool> startingWorker{false};
  SortOptions* options;
  SortRunState* run;
  SortWorkState* work;
  WorkerSlot workers[2];
  SortSession* interrupted;  // the session that the thread worked for before: exits may call the engine

  SessionMemory memory;
};

inline constexpr int32_t sessionTableSize = 512;
inline constexpr int32_t tooManySessions = 1077;  // a return code without a message

// A session with default options and limits, entered in the session table, the calling thread in the thread
// table. Null when there is no memory or no room; `returnCode` says which.
SortSession* makeSession(int32_t& returnCode);

// Takes session and calling thread out of their tables, closes message and trace file and frees everything.
void freeSession(SortSession* session);

// The session that the calling thread works for, or null. Safe in a signal handler.
SortSession* sessionOfThread();

// A session of the process that is still running, or null. Safe in a signal handler.
SortSession* anyRunningSession();

// Workers enter themselves at their start and leave at their end; false when all rows are taken.
bool enterThread(SortSession* session);
void leaveThread();

// Calls `visit` for every session of the process while the table is locked.
void forEachSession(void (*visit)(SortSession* session, void* context), void* context);

// False once the first error came, or a signal, or the end was asked for from outside: message 77 is then
// due.
inline bool isRunning(const SortSession& session) {
  return session.running.load(std::memory_order_acquire);
}

}  // namespace qrt::sort
