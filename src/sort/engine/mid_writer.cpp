// The writer of runs: one buffer, one file.
#include "sort/engine/mid_writer.h"

#include "platform/files.h"
#include "sort/engine/entry_copy.h"
#include "sort/engine/messages.h"
#include "sort/engine/runs.h"

namespace qrt::sort {
namespace {

constexpr int32_t noMidWriter = 1023;

// Writes a run to a file of its own, in the first directory that takes it whole.
int32_t writeRun(SortSession& session, int32_t fileNumber, const uint8_t* buffer, int32_t bytes) {
  SortWorkState& work = *session.work;
  while (true) {
    int32_t file;
    if (const int32_t failure = OpenWriteMidFile(session, fileNumber, file); failure != 0) return failure;
    const bool isComplete = platform::writeFully(file, buffer, static_cast<size_t>(bytes)) == bytes;
    platform::closeFile(file);
    if (isComplete) {
      work.currentTempDir = work.currentTempDir->next;
      return 0;
    }
    deleteMidFile(session, fileNumber);
    dropTempDirectory(session);
  }
}

void MidWriter(void* argument) {
  SortSession& session = *static_cast<SortSession*>(argument);
  MidWriterState& writer = *session.work->writer;
  WorkerSlot& slot = session.workers[0];
  slot.threadId = platform::currentThreadId();
  slot.running = true;
  const bool entered = enterThread(&session);
  int32_t buffer = 0, failure = 0;
  if (!entered) send(writer.answers, failure = noMidWriter);
  while (failure == 0) {
    const int32_t bytes = receive(writer.lengths);
    if (bytes == stopWorker) break;
    if (!isRunning(session)) {
      failure = 77;
    } else if (writer.fileNumber >= session.work->runLimit) {
      failure = message(79);
    } else {
      failure = writeRun(session, writer.fileNumber, writer.buffers[buffer], bytes);
    }
    if (failure == 0) ++writer.fileNumber;
    buffer ^= 1;
    send(writer.answers, failure);
  }
  if (entered) leaveThread();
  slot.running = false;
}

}  // namespace

int32_t allocateWriterBuffers(SortSession& session) {
  SortWorkState& work = *session.work;
  if (work.writer == nullptr) work.writer = session.memory.make<MidWriterState>();
  if (work.writer == nullptr) return noMemory(sizeof(MidWriterState));
  const size_t bytes = static_cast<size_t>(work.sizes.sortBuffer) + copySlack;
  for (uint8_t*& buffer : work.writer->buffers) {
    if (buffer == nullptr) buffer = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
    if (buffer == nullptr) return noMemory(bytes);
  }
  return 0;
}

int32_t ForkMidWriter(SortSession& session) {
  if (const int32_t failure = allocateWriterBuffers(session); failure != 0) return failure;
  MidWriterState& writer = *session.work->writer;
  openPipe(writer.lengths);
  openPipe(writer.answers);
  for (int32_t buffer = 0; buffer < 2; ++buffer) send(writer.answers, 0);
  writer.fileNumber = session.work->runCount;
  writer.nextBuffer = 0;
  writer.worker.routine = MidWriter;
  writer.worker.argument = &session;
  if (platform::startWorker(writer.worker) != 0) return internalError(noMidWriter);
  writer.running = true;
  return 0;
}

int32_t nextWriterBuffer(SortSession& session, uint8_t*& buffer) {
  MidWriterState& writer = *session.work->writer;
  buffer = writer.buffers[writer.nextBuffer];
  writer.nextBuffer ^= 1;
  const int32_t answer = receive(writer.answers);
  return answer == noMidWriter ? internalError(noMidWriter) : answer;
}

void writeBuffer(SortSession& session, uint32_t bytes) {
  send(session.work->writer->lengths, static_cast<int32_t>(bytes));
}

int32_t endMidWriter(SortSession& session) {
  MidWriterState* const writer = session.work->writer;
  if (writer == nullptr || !writer->running) return 0;
  send(writer->lengths, stopWorker);
  platform::waitForWorker(writer->worker);
  writer->running = false;
  int32_t failure = 0, answer;
  while (tryReceive(writer->answers, answer))
    if (failure == 0) failure = answer;
  closePipe(writer->lengths);
  closePipe(writer->answers);
  return failure;
}

}  // namespace qrt::sort
