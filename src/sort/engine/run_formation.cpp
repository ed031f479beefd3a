// The input phase of a sort: S_buf after S_buf is filled, sorted and copied away as a run, in memory or
// through the writer to a file.
#include "sort/engine/run_formation.h"

#include <algorithm>

#include "sort/engine/entry_copy.h"
#include "sort/engine/input.h"
#include "sort/engine/merge.h"
#include "sort/engine/messages.h"
#include "sort/engine/mid_writer.h"
#include "sort/engine/output.h"
#include "sort/engine/runs.h"

namespace qrt::sort {
namespace {

// The smallest entry and its row: two lengths and the sequence number.
constexpr size_t smallestEntry = sizeof(SortEntry) + 8 + sizeof(uint32_t);

int32_t allocateSortArea(SortSession& session) {
  SortWorkState& work = *session.work;
  const size_t rows = static_cast<size_t>(work.sizes.sortBuffer) / smallestEntry;
  void* const storage = session.memory.allocateBuffer(sortWorkAreaBytes(rows));
  if (storage == nullptr) return noMemory(sortWorkAreaBytes(rows));
  work.sortArea = layOutSortWorkArea(storage, rows);
  return 0;
}

void emptySortBuffer(SortBuffer& buffer) {
  buffer.cursor = buffer.start;
  buffer.limit = reinterpret_cast<uint8_t*>(buffer.tableTop);
}

// Where a run is stored.
struct RunTarget {
  uint8_t* memory;
  bool isFile;
};

// The next run stays in memory while resident buffers last; behind them it goes through the writer.
int32_t GetNextS_Buf(SortSession& session, RunTarget& target) {
  SortWorkState& work = *session.work;
  const bool writes = work.writer != nullptr && work.writer->running;
  if (!writes && work.runCount < work.sizes.residentBuffers) {
    const size_t bytes = static_cast<size_t>(work.sizes.sortBuffer) + copySlack;
    target = {static_cast<uint8_t*>(session.memory.allocateBuffer(bytes)), false};
    return target.memory == nullptr ? noMemory(bytes) : 0;
  }
  if (!writes) {
    if (const int32_t failure = ForkMidWriter(session); failure != 0) return failure;
  }
  target.isFile = true;
  return nextWriterBuffer(session, target.memory);
}

const SortEntry* entryAt(const SortBuffer& buffer, uint32_t offset) {
  return reinterpret_cast<const SortEntry*>(buffer.start + offset - keyOffset);
}

// Calls `take` for each entry in the order of the table.
template <typename Take>
void forEachEntry(const SortBuffer& buffer, Take&& take) {
  constexpr size_t ahead = 4;
  const std::span<const uint32_t> table = buffer.table();
  for (size_t row = 0; row < table.size(); ++row) {
    if (row + ahead < table.size()) {
      const uint8_t* const coming = buffer.start + table[row + ahead] - keyOffset;
      __builtin_prefetch(coming);
      __builtin_prefetch(coming + 64);
    }
    if (!take(entryAt(buffer, table[row]))) return;
  }
}

// Room for the index of a full writer buffer: two neighbouring blocks together always pass M.
int32_t mostBlocks(const MemorySizes& sizes) {
  return 2 * (sizes.sortBuffer / sizes.blockSize) + 3;
}

// Copies the entries in their order to the target and notes the blocks that they make up.
uint8_t* copyRun(const SortBuffer& buffer, uint8_t* target, uint32_t* blocks, MemorySizes& sizes) {
  const auto largestBlock = static_cast<uint32_t>(sizes.blockSize);
  uint32_t block = 0;
  const auto closeBlock = [&] {
    sizes.midBlock = std::max(sizes.midBlock, static_cast<int32_t>(block));
    *blocks++ = block;
    block = 0;
  };
  forEachEntry(buffer, [&](const SortEntry* entry) {
    const uint32_t size = entry->size();
    copyWithSlack(target, reinterpret_cast<const uint8_t*>(entry), size);
    target += size;
    if (blocks == nullptr) return true;
    if (block != 0 && block + size > largestBlock) closeBlock();
    block += size;
    return true;
  });
  if (blocks != nullptr) {
    closeBlock();
    *blocks = 0;
  }
  return target;
}

int32_t storeRun(SortSession& session, const SortBuffer& buffer) {
  SortWorkState& work = *session.work;
  RunTarget target;
  if (const int32_t failure = GetNextS_Buf(session, target); failure != 0) return failure;
  if (!target.isFile) {
    uint8_t* const end = copyRun(buffer, target.memory, nullptr, work.sizes);
    return InitMidRun(session, nullptr, 0, target.memory, end) == nullptr ? session.returnCode.load() : 0;
  }
  const int32_t rows = mostBlocks(work.sizes);
  auto* const blocks =
      static_cast<uint32_t*>(session.memory.allocateBuffer(static_cast<size_t>(rows) * sizeof(uint32_t)));
  if (blocks == nullptr) return message(49);
  const uint8_t* const end = copyRun(buffer, target.memory, blocks, work.sizes);
  writeBuffer(session, static_cast<uint32_t>(end - target.memory));
  return InitMidRun(session, blocks, rows, nullptr, nullptr) == nullptr ? session.returnCode.load() : 0;
}

// Writes one S_buf in the order of its table to the output.
int32_t qsxRestoreE_Buf(SortSession& session, const SortBuffer& buffer) {
  SortWorkState& work = *session.work;
  OutputRange output;
  if (const int32_t failure = qsxInitOutput(session, 0, 0, output); failure != 0) return failure;
  const SortEntry* previous = nullptr;
  int32_t result = 0;
  forEachEntry(buffer, [&](const SortEntry* entry) {
    result = work.restore(session, entry, previous, output);
    previous = entry;
    return result == 0;
  });
  return qsxTermOutputPhase(session, 0, 0, flushOutput(session, output, result));
}

}  // namespace

int32_t InitSingleInputRun(SortSession& session) {
  const TracedCall call(session, "InitSingleInputRun");
  SortWorkState& work = *session.work;
  const MainFunction mainFunction = session.options->mainFunction;
  work.inputRuns = session.memory.make<InputRun>();
  if (work.inputRuns == nullptr) return noMemory(sizeof(InputRun));
  work.inputRunCount = 1;
  InputRun& run = *work.inputRuns;
  if (const int32_t failure = initInputRun(session, run, 0, session.options->sources.count); failure != 0)
    return failure;
  if (mainFunction == MainFunction::copy) return 0;

  const size_t bytes = static_cast<size_t>(work.sizes.sortBuffer) + copySlack;
  run.sortBuffer.start = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
  if (run.sortBuffer.start == nullptr) return noMemory(bytes);
  run.sortBuffer.cursor = run.sortBuffer.start;
  run.sortBuffer.limit = run.sortBuffer.start + work.sizes.sortBuffer;
  if (mainFunction != MainFunction::sort) return 0;

  run.sortBuffer.tableTop = reinterpret_cast<uint32_t*>(run.sortBuffer.limit);
  if (const int32_t failure = allocateSortArea(session); failure != 0) return failure;
  const int64_t residentShare =
      int64_t{work.sizes.sortBuffer} * work.sizes.residentBuffers / work.sizes.bufferCount;
  return work.inputSizeKnown && work.inputSize <= residentShare ? 0 : allocateWriterBuffers(session);
}

int32_t SortInput(SortSession& session) {
  SortWorkState& work = *session.work;
  if (const int32_t failure = allocateRunTable(session); failure != 0) return failure;
  InputRun& run = *work.inputRuns;
  bool ended = false;
  while (!ended) {
    if (work.runCount >= work.runLimit) return message(79);
    emptySortBuffer(run.sortBuffer);
    if (const int32_t failure = qsxExtractRead(session, run, ended); failure != 0) return failure;
    Sort(run.sortBuffer.start, run.sortBuffer.table(), work.sortArea);
    if (ended && work.runCount == 0) return 0;
    if (run.sortBuffer.table().empty()) break;
    if (const int32_t failure = storeRun(session, run.sortBuffer); failure != 0) return failure;
  }
  return 0;
}

int32_t SortOutput(SortSession& session) {
  SortWorkState& work = *session.work;
  if (work.runCount == 0) return qsxRestoreE_Buf(session, work.inputRuns->sortBuffer);
  if (const int32_t failure = qsxTermInputPhase(session); failure != 0) return failure;
  return qsxMergeMidRuns(session);
}

int32_t qsxTermInputPhase(SortSession& session) {
  const int32_t failure = endMidWriter(session);
  freeInputRuns(session);
  return failure;
}

}  // namespace qrt::sort
