// Sessions, and the tables of sessions and threads of the process.
#include "sort/engine/session.h"

#include <algorithm>
#include <new>

#include "platform/files.h"

namespace qrt::sort {
namespace {

constexpr int32_t threadTableSize = 512;

// Read without a lock by signal handlers; a row belongs to its thread.
struct ThreadRow {
  std::atomic<int32_t> threadId;  // 0 for a free row
  std::atomic<SortSession*> session;
};

platform::CriticalSection threadSection;
ThreadRow threadTable[threadTableSize];

platform::CriticalSection sessionSection;
SortSession* sessionTable[sessionTableSize];
int32_t sessionCount = 0;

bool enterSession(SortSession* session) {
  const platform::CriticalSection::Scope scope(sessionSection);
  for (int32_t slot = 0; slot < sessionTableSize; ++slot) {
    if (sessionTable[slot] != nullptr) continue;
    sessionTable[slot] = session;
    session->slot = slot;
    ++sessionCount;
    return true;
  }
  return false;
}

void leaveSession(const SortSession& session) {
  const platform::CriticalSection::Scope scope(sessionSection);
  if (session.slot < 0) return;
  sessionTable[session.slot] = nullptr;
  --sessionCount;
}

ThreadRow* findThreadRow(int32_t threadId) {
  for (ThreadRow& row : threadTable)
    if (row.threadId.load(std::memory_order_acquire) == threadId) return &row;
  return nullptr;
}

void putDefaults(SortOptions& options, SortRunState& run) {
  options.calledByProgram = true;
  options.mainFunction = MainFunction::unset;
  options.inputSizeEstimate = -1;
  options.memoryLimit = -1;
  options.separatorIsDefault = true;
  options.yearWindow = -1;
  options.nullIndicator = 1;
  options.stopAfter = -1;
  options.outputOrganization = Organization::notGiven;
  options.largestField = -1;
  run.limits = {41943040, 4194304, 4096, 2};
  run.messageFile = run.traceFile = platform::noFile;
}

}  // namespace

SortSession* makeSession(int32_t& returnCode) {
  constexpr int32_t noMemoryCode = 73;
  returnCode = noMemoryCode;
  auto* const session = new (std::nothrow) SortSession{};
  if (session == nullptr) return nullptr;
  session->slot = -1;
  session->threadId = platform::currentThreadId();
  platform::makeMutex(session->lock);
  platform::makeMutex(session->workerLock);
  session->options = session->memory.make<SortOptions>();
  session->run = session->memory.make<SortRunState>();
  if (session->options != nullptr && session->run != nullptr) {
    putDefaults(*session->options, *session->run);
    returnCode = tooManySessions;
    if (enterSession(session) && enterThread(session)) {
      returnCode = 0;
      return session;
    }
  }
  leaveSession(*session);
  delete session;
  return nullptr;
}

void freeSession(SortSession* session) {
  leaveThread();
  leaveSession(*session);
  if (session->run->traceFile != platform::noFile) platform::closeFile(session->run->traceFile);
  if (session->run->messageFile > platform::standardErrorFile) platform::closeFile(session->run->messageFile);
  delete session;
}

SortSession* sessionOfThread() {
  const ThreadRow* const row = findThreadRow(platform::currentThreadId());
  return row != nullptr ? row->session.load(std::memory_order_acquire) : nullptr;
}

SortSession* anyRunningSession() {
  for (ThreadRow& row : threadTable)
    if (SortSession* const session = row.session.load(std::memory_order_acquire); session != nullptr)
      if (row.threadId.load(std::memory_order_acquire) != 0 && isRunning(*session)) return session;
  return nullptr;
}

bool enterThread(SortSession* session) {
  const platform::CriticalSection::Scope scope(threadSection);
  const int32_t threadId = platform::currentThreadId();
  ThreadRow* row = findThreadRow(threadId);
  const bool nested = row != nullptr;
  if (!nested) row = findThreadRow(0);
  if (row == nullptr) return false;
  if (nested) session->interrupted = row->session.load(std::memory_order_relaxed);
  row->session.store(session, std::memory_order_release);
  row->threadId.store(threadId, std::memory_order_release);
  return true;
}

void leaveThread() {
  const platform::CriticalSection::Scope scope(threadSection);
  const int32_t threadId = platform::currentThreadId();
  ThreadRow* const row = findThreadRow(threadId);
  if (row == nullptr) return;
  SortSession* const session = row->session.load(std::memory_order_relaxed);
  const bool isWorker = session->threadId != threadId;
  SortSession* const outer = isWorker ? nullptr : session->interrupted;
  row->session.store(outer, std::memory_order_release);
  if (outer == nullptr) row->threadId.store(0, std::memory_order_release);
}

void forEachSession(void (*visit)(SortSession* session, void* context), void* context) {
  const platform::CriticalSection::Scope scope(sessionSection);
  for (SortSession* const session : sessionTable)
    if (session != nullptr) visit(session, context);
}

}  // namespace qrt::sort
