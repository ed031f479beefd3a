// The reader of runs. It and the merge walk the same block index by the same rule, each with its own cursor,
// so that no lengths travel between them.
#include "sort/engine/mid_reader.h"

#include <algorithm>

#include "platform/errors.h"
#include "platform/files.h"
#include "sort/engine/entry_copy.h"
#include "sort/engine/messages.h"
#include "sort/engine/runs.h"

namespace qrt::sort {
namespace {

constexpr int32_t noMidReader = 1022;

// Requests that the reader is woken for: many at a time where there are many runs to go on with meanwhile.
uint32_t requestsAtOnce(const MidReaderState& reader) {
  return static_cast<uint32_t>(std::clamp(reader.fileCount / 4, 1, 64));
}

int32_t readStretch(SortSession& session, SortRun& run) {
  if (!isRunning(session)) return 77;
  const uint32_t bytes = takeStretch(run.readerBlock, session.work->reader->stretch);
  if (bytes == 0) {
    platform::closeFile(run.file);
    run.file = platform::noFile;
    return 0;
  }
  uint8_t* const buffer = run.readBuffers[run.readerBuffer];
  run.readerBuffer ^= 1;
  const int32_t count = platform::readFully(run.file, buffer, bytes);
  if (count == static_cast<int32_t>(bytes)) return 0;
  return message(34, "midfile", count < 0 ? platform::lastError() : 0);
}

int32_t serve(SortSession& session, int32_t request) {
  SortRun& run = *session.work->runs[request];
  const bool answers = *run.readerBlock != 0;
  const int32_t failure = readStretch(session, run);
  if (failure == 0 && answers) send(*run.answers, 0);
  return failure;
}

void MidReader(void* argument) {
  SortSession& session = *static_cast<SortSession*>(argument);
  MidReaderState& reader = *session.work->reader;
  WorkerSlot& slot = session.workers[1];
  slot.threadId = platform::currentThreadId();
  slot.running = true;
  const bool entered = enterThread(&session);
  int32_t failure = entered ? 0 : noMidReader;
  while (failure == 0) {
    const int32_t request = receive(reader.requests);
    if (request == stopWorker) break;
    failure = serve(session, request);
  }
  if (failure != 0)
    for (int32_t file = 0; file < reader.fileCount; ++file) send(reader.answers[file], failure);
  if (entered) leaveThread();
  slot.running = false;
}

// The share of memory of one read buffer, and no less than Y.
int32_t readBufferSize(const SortWorkState& work, int32_t fileCount, int32_t runCount) {
  const MemorySizes& sizes = work.sizes;
  int64_t memory = int64_t{sizes.t2} - int64_t{2} * std::max(sizes.sortBuffer, sizes.midBlock);
  if (fileCount < runCount) memory -= int64_t{sizes.sortBuffer} * sizes.residentBuffers;
  const int64_t share = (memory / (int64_t{2} * fileCount) + 3) & ~int64_t{3};
  return static_cast<int32_t>(std::max<int64_t>(sizes.midBlock, share));
}

// Room of one read buffer. Buffers don't touch, for copies run on a little behind an entry, and each starts
// at another line of the cache.
size_t readBufferRoom(int32_t stretch) {
  return (static_cast<size_t>(stretch) + copySlack + 127) & ~size_t{63};
}

int32_t allocateReader(SortSession& session, int32_t fileCount, int32_t runCount) {
  SortWorkState& work = *session.work;
  if (work.reader == nullptr) work.reader = session.memory.make<MidReaderState>();
  if (work.reader == nullptr) return noMemory(sizeof(MidReaderState));
  MidReaderState& reader = *work.reader;
  reader.stretch = readBufferSize(work, fileCount, runCount);
  const size_t bytes = readBufferRoom(reader.stretch) * 2 * static_cast<size_t>(fileCount);
  reader.buffers = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
  if (reader.buffers == nullptr) return noMemory(bytes);
  reader.answers = session.memory.make<platform::WordPipe<4>>(static_cast<size_t>(fileCount));
  if (reader.answers == nullptr)
    return noMemory(sizeof(platform::WordPipe<4>) * static_cast<size_t>(fileCount));
  openPipe(reader.requests);
  for (int32_t file = 0; file < fileCount; ++file) openPipe(reader.answers[file]);
  reader.fileCount = fileCount;
  return 0;
}

void resetCursors(SortRun& run) {
  run.readerBuffer = run.consumerBuffer = 0;
  run.readerBlock = run.consumerBlock = run.blocks;
}

}  // namespace

int32_t ForkMidReader(SortSession& session, int32_t firstRun, int32_t runCount) {
  SortWorkState& work = *session.work;
  SortRun** const runs = work.runs + firstRun;
  const auto fileCount = static_cast<int32_t>(
      std::count_if(runs, runs + runCount, [](const SortRun* run) { return run->memory == nullptr; }));
  if (fileCount == 0) {
    for (int32_t run = 0; run < runCount; ++run) resetCursors(*runs[run]);
    return 0;
  }
  if (const int32_t failure = allocateReader(session, fileCount, runCount); failure != 0) return failure;
  MidReaderState& reader = *work.reader;
  const size_t room = readBufferRoom(reader.stretch);
  for (int32_t run = 0, file = 0; run < runCount; ++run) {
    resetCursors(*runs[run]);
    if (runs[run]->memory != nullptr) continue;
    if (const int32_t failure = qsxOpenReadMidFile(session, firstRun + run); failure != 0) return failure;
    runs[run]->answers = &reader.answers[file];
    for (size_t buffer = 0; buffer < 2; ++buffer)
      runs[run]->readBuffers[buffer] = reader.buffers + (static_cast<size_t>(file) * 2 + buffer) * room;
    ++file;
    send(reader.requests, firstRun + run);
  }
  reader.worker.routine = MidReader;
  reader.worker.argument = &session;
  if (platform::startWorker(reader.worker) != 0) return internalError(noMidReader);
  reader.running = true;
  return 0;
}

uint32_t takeStretch(const uint32_t*& block, int32_t most) {
  uint32_t bytes = 0;
  while (*block != 0 && bytes + *block <= static_cast<uint32_t>(most)) bytes += *block++;
  return bytes;
}

int32_t nextStretch(SortSession& session, int32_t run) {
  MidReaderState& reader = *session.work->reader;
  platform::WordPipe<4>& answers = *session.work->runs[run]->answers;
  send(reader.requests, run, requestsAtOnce(reader));
  int32_t answer, request;
  while (!tryReceive(answers, answer)) {
    // Where all entries come from one run, waking the reader for each stretch would cost more than reading
    // it.
    if (!takeBack(reader.requests, request)) {
      answer = receive(answers);
      break;
    }
    if (const int32_t failure = serve(session, request); failure != 0) return failure;
  }
  return answer == noMidReader ? internalError(noMidReader) : answer;
}

void endMidReader(SortSession& session) {
  MidReaderState* const reader = session.work->reader;
  if (reader == nullptr || reader->buffers == nullptr) return;
  if (reader->running) {
    send(reader->requests, stopWorker);
    platform::waitForWorker(reader->worker);
    reader->running = false;
  }
  if (reader->fileCount != 0) {
    for (int32_t file = 0; file < reader->fileCount; ++file) closePipe(reader->answers[file]);
    closePipe(reader->requests);
    reader->fileCount = 0;
  }
  session.memory.release(reader->answers);
  session.memory.release(reader->buffers);
  reader->answers = nullptr;
  reader->buffers = nullptr;
}

}  // namespace qrt::sort
