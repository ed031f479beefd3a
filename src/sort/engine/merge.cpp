// One merge, over runs or over sources, and the order of merges where there are more than 256 runs.
#include "sort/engine/merge.h"

#include <string.h>

#include <algorithm>

#include "sort/engine/entry_copy.h"
#include "sort/engine/input.h"
#include "sort/engine/messages.h"
#include "sort/engine/mid_reader.h"
#include "sort/engine/output.h"
#include "sort/engine/restore.h"
#include "sort/engine/runs.h"

namespace qrt::sort {
namespace {

constexpr int32_t indexRowsOfSources = 20000;

// The room that the block index of a merge's output starts with; it grows where the estimate falls short.
struct IndexEstimate {
  int64_t rowsOfRun;

  explicit IndexEstimate(const SortSession& session) {
    const SortWorkState& work = *session.work;
    const int64_t records = std::max<int64_t>(session.run->counters.recordsPassed, 1);
    const int64_t entry = std::max<int64_t>(int64_t{work.sizes.sortBuffer} * work.runCount / records, 1);
    const int64_t unit = entry * std::max<int64_t>(1, work.sizes.midBlock / entry);
    rowsOfRun = std::max<int64_t>(1, work.sizes.sortBuffer / unit);
    if (session.options->variableLength) rowsOfRun *= 2;
  }
  int32_t GetNumberIndexBlocks(int32_t runCount) const {
    return static_cast<int32_t>(std::min<int64_t>(rowsOfRun * (runCount + 3), 1 << 24));
  }
};

// Keeps header and key of the entry, or all of it where restoring looks back at it, while its block is used
// again.
const SortEntry* hold(SortWorkState& work, const SortEntry* entry, bool whole) {
  const uint32_t bytes = whole ? entry->size() : keyOffset + entry->keyLength;
  memmove(work.heldEntry, entry, bytes);
  return reinterpret_cast<const SortEntry*>(work.heldEntry);
}

int32_t BuildLosersTree(SortSession& session, LoserTree& tree, int32_t firstRun, int32_t& count) {
  int32_t used = 0;
  for (int32_t run = firstRun; run < firstRun + count; ++run) {
    EntryRange block{};
    MergeNode& node = tree.nodes[used];
    node = {nullptr, nullptr, false, run};
    if (const int32_t failure = session.work->nextBlock(session, run, block, node.isLast); failure != 0)
      return failure;
    node.cursor = block.first;
    node.end = block.end;
    if (block.first != block.end) ++used;
  }
  tree.count = count = used;
  if (used != 0) tree.build();
  return 0;
}

// Moves the winner to its next entry; `previous` is the one it leaves, which stays readable under a new
// address.
int32_t advance(SortSession& session, LoserTree& tree, const SortEntry*& previous, bool holdsWhole,
                Contender& next) {
  MergeNode& node = tree.winnerNode();
  node.moveOn();
  if (node.cursor == node.end) {
    next = usedUp;
    if (node.isLast) return 0;
    previous = hold(*session.work, previous, holdsWhole);
    EntryRange block{};
    if (const int32_t failure = session.work->nextBlock(session, node.run, block, node.isLast); failure != 0)
      return failure;
    node.cursor = block.first;
    node.end = block.end;
    if (block.first == block.end) return 0;
  }
  next = contenderBehind(previous->keyWords(), node.entry()->keyWords(), nodeOf(tree.winner()));
  return 0;
}

int32_t mergeEntries(SortSession& session, LoserTree& tree, OutputRange& output) {
  const SortOptions& options = *session.options;
  const bool holdsWhole = options.unique || options.stopAtUniqueViolation || options.sums.count != 0;
  const Restore restore = session.work->restore;
  const SortEntry* previous = nullptr;
  while (tree.winner() != usedUp) {
    const SortEntry* const entry = tree.winnerNode().entry();
    if (const int32_t result = restore(session, entry, previous, output); result != 0) return result;
    previous = entry;
    Contender next;
    if (const int32_t failure = advance(session, tree, previous, holdsWhole, next); failure != 0)
      return failure;
    tree.replay(next);
  }
  return 0;
}

int32_t mergeToOutput(SortSession& session, int32_t firstRun, int32_t runCount, int32_t indexRows) {
  const SortWorkState& work = *session.work;
  OutputRange output;
  int32_t result = qsxInitOutput(session, indexRows, work.runCount, output);
  if (result == 0) result = InitRunsEntries(session, firstRun, runCount);
  if (result == 0) result = SingleMerge(session, firstRun, runCount, output);
  return qsxTermOutputPhase(session, firstRun, runCount, result);
}

// Opens a group of sources, each as an input run of its own.
int32_t qsxInitMergeRuns(SortSession& session, int32_t firstSource, int32_t sourceCount) {
  SortWorkState& work = *session.work;
  const size_t bytes = static_cast<size_t>(work.sizes.midBlock) + copySlack;
  for (int32_t source = 0; source < sourceCount; ++source) {
    InputRun& run = work.inputRuns[source];
    run = InputRun{};
    work.inputRunCount = source + 1;
    if (const int32_t failure = initInputRun(session, run, firstSource + source, 1); failure != 0)
      return failure;
    run.sourceNumber = firstSource + source;
    run.sortBuffer.start = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
    if (run.sortBuffer.start == nullptr) return noMemory(bytes);
    run.sortBuffer.limit = run.sortBuffer.start + work.sizes.midBlock;
    if (const int32_t failure = openFirstSource(session, run); failure != 0) return failure;
  }
  return 0;
}

int32_t mergeGroup(SortSession& session, int32_t firstSource, int32_t sourceCount, int32_t indexRows) {
  const SortWorkState& work = *session.work;
  OutputRange output;
  int32_t result = qsxInitOutput(session, indexRows, work.runCount, output);
  if (result == 0) result = qsxInitMergeRuns(session, firstSource, sourceCount);
  if (result == 0) result = SingleMerge(session, 0, sourceCount, output);
  freeInputRuns(session);
  return qsxTermOutputPhase(session, 0, 0, result);
}

// Puts an entry into the output block in pieces, as blocks have room for them.
int32_t copyInPieces(SortSession& session, const uint8_t* bytes, uint32_t size, OutputRange& output) {
  while (true) {
    const uint32_t piece = std::min(size, static_cast<uint32_t>(output.limit - output.cursor));
    memcpy(output.cursor, bytes, piece);
    output.cursor += piece;
    bytes += piece;
    size -= piece;
    if (size == 0) return 0;
    if (const int32_t failure = session.work->writeBlock(session, output, false); failure != 0)
      return failure;
  }
}

}  // namespace

int32_t qsxMergeMidRuns(SortSession& session) {
  const TracedCall call(session, "qsxMergeMidRuns");
  SortWorkState& work = *session.work;
  work.nextBlock = GetNextMidBlock;
  work.sizes.residentBuffers = session.options->mainFunction == MainFunction::merge
                                   ? 0
                                   : std::min(work.sizes.residentBuffers, work.runCount);
  const IndexEstimate estimate(session);
  int32_t done = 0;
  // A short first merge, so that all others are full and the last one takes exactly 256 runs.
  if (work.runCount > fanIn && work.runCount % (fanIn - 1) != 1) {
    const int32_t count = work.runCount % (fanIn - 1) == 0 ? fanIn - 1 : work.runCount % (fanIn - 1);
    const int32_t failure = mergeToOutput(session, 0, count, estimate.GetNumberIndexBlocks(count));
    if (failure != 0) return failure;
    done = count;
  }
  while (work.runCount - done > fanIn) {
    const int32_t failure = mergeToOutput(session, done, fanIn, estimate.GetNumberIndexBlocks(fanIn));
    if (failure != 0) return failure;
    done += fanIn;
  }
  return mergeToOutput(session, done, work.runCount - done, 0);
}

int32_t qsxMergeInputRuns(SortSession& session) {
  const TracedCall call(session, "qsxMergeInputRuns");
  SortWorkState& work = *session.work;
  work.nextBlock = GetNextRawBlock;
  const int32_t sources = session.options->sources.count;
  work.inputRuns = session.memory.make<InputRun>(static_cast<size_t>(std::min(sources, fanIn)));
  if (work.inputRuns == nullptr) return noMemory(sizeof(InputRun) * static_cast<size_t>(sources));
  if (sources <= fanIn) return mergeGroup(session, 0, sources, 0);
  for (int32_t first = 0; first < sources; first += fanIn) {
    const int32_t failure = mergeGroup(session, first, std::min(fanIn, sources - first), indexRowsOfSources);
    if (failure != 0) return failure;
  }
  return 0;
}

int32_t SingleMerge(SortSession& session, int32_t firstRun, int32_t runCount, OutputRange& output) {
  SortWorkState& work = *session.work;
  auto* const tree = session.memory.make<LoserTree>();
  if (tree == nullptr) return noMemory(sizeof(LoserTree));
  work.heldEntry =
      static_cast<uint8_t*>(session.memory.allocateBuffer(static_cast<size_t>(work.sizes.entryBound)));
  int32_t result = work.heldEntry == nullptr ? noMemory(static_cast<size_t>(work.sizes.entryBound))
                                             : BuildLosersTree(session, *tree, firstRun, runCount);
  if (result == 0) {
    if (runCount != 0) result = mergeEntries(session, *tree, output);
    result = flushOutput(session, output, result);
  }
  session.memory.release(work.heldEntry);
  session.memory.release(tree);
  work.heldEntry = nullptr;
  return result;
}

int32_t GetNextRawBlock(SortSession& session, int32_t run, EntryRange& block, bool& isLast) {
  InputRun& input = session.work->inputRuns[run];
  input.sortBuffer.cursor = input.sortBuffer.start;
  const int32_t failure = qsxExtractRead(session, input, isLast);
  block = {input.sortBuffer.start, input.sortBuffer.cursor};
  return failure;
}

int32_t InitRunsEntries(SortSession& session, int32_t firstRun, int32_t runCount) {
  return ForkMidReader(session, firstRun, runCount);
}

int32_t GetNextMidBlock(SortSession& session, int32_t number, EntryRange& block, bool& isLast) {
  SortRun& run = *session.work->runs[number];
  if (run.memory != nullptr) {
    block = {run.memory, run.memoryEnd};
    isLast = true;
    return 0;
  }
  const uint32_t bytes = takeStretch(run.consumerBlock, session.work->reader->stretch);
  isLast = *run.consumerBlock == 0;
  if (bytes == 0) return 0;
  const uint8_t* const buffer = run.readBuffers[run.consumerBuffer];
  run.consumerBuffer ^= 1;
  block = {buffer, buffer + bytes};
  return nextStretch(session, number);
}

int32_t flushOutput(SortSession& session, OutputRange& output, int32_t result) {
  if (result != 0 && result != equalKeys && result != endOfOutput) return result;
  const int32_t failure = session.work->writeBlock(session, output, true);
  if (result == equalKeys) return result;
  return failure == endOfOutput ? 0 : failure;
}

int32_t qsxTermOutputPhase(SortSession& session, int32_t firstRun, int32_t runCount, int32_t result) {
  endMidReader(session);
  const int32_t failure = closeOutput(session, result == 0 || result == equalKeys);
  session.work->outputRun = nullptr;
  FreeMidRuns(session, firstRun, runCount);
  return result != 0 ? result : failure;
}

int32_t RestoreMidRecord(SortSession& session, const SortEntry* entry, const SortEntry* previous,
                         OutputRange& output) {
  if (session.options->unique && previous != nullptr && haveEqualKeyFields(session, *previous, *entry)) {
    ++session.run->counters.recordsEqual;
    session.run->counters.bytesEqual += entry->recordLength;
    return 0;
  }
  SortRun& run = *session.work->outputRun;
  const uint32_t size = entry->size();
  uint32_t* block = &run.blocks[run.blocksInUse - 1];
  if (*block != 0 && *block + size > static_cast<uint32_t>(session.work->sizes.blockSize)) {
    if (const int32_t failure = addBlock(session, run); failure != 0) return failure;
    block = &run.blocks[run.blocksInUse - 1];
  }
  *block += size;
  const auto* const bytes = reinterpret_cast<const uint8_t*>(entry);
  if (output.limit - output.cursor < static_cast<ptrdiff_t>(size + copySlack))
    return copyInPieces(session, bytes, size, output);
  copyWithSlack(output.cursor, bytes, size);
  output.cursor += size;
  return 0;
}

}  // namespace qrt::sort
