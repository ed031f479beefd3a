// Extraction: each record of a block is scanned, filtered, and stored with its key.
#include "sort/engine/extract.h"

#include <string.h>

#include <algorithm>

#include "sort/engine/entry_copy.h"
#include "sort/engine/filter.h"
#include "sort/engine/keys.h"
#include "sort/engine/main_functions.h"
#include "sort/engine/messages.h"
#include "sort/engine/records.h"
#include "sort/engine/reformat.h"
#include "sort/engine/sum.h"

namespace qrt::sort {
namespace {

constexpr uint32_t prefixSize = sizeof(uint32_t);
constexpr int32_t bufferRanOut = 1000;  // internal error

uint32_t lengthOf(const RecordState& records) {
  return static_cast<uint32_t>(records.end - records.begin);
}

// The record at `to`, reformatted or as it is; returns its length. `limit` ends the room that may be
// overwritten behind it.
uint32_t putRecord(const SortSession& session, uint8_t* to, const uint8_t* limit) {
  if (session.options->reformat.count > 0) return reformatRecord(session, to);
  const RecordState& records = *session.work->records;
  const uint32_t length = lengthOf(records);
  const ptrdiff_t wide = length + copySlack;
  if (records.blockEnd - records.begin >= wide && limit - to >= wide)
    copyWithSlack(to, records.begin, length);
  else
    memcpy(to, records.begin, length);
  return length;
}

// Bytes of a record as it is stored, at most.
uint32_t boundOf(const SortSession& session, uint32_t length) {
  return session.options->reformat.count > 0 ? reformatBound(session, length) : length;
}

// What becomes of a record.
enum class Turn : uint8_t { skipped, filtered, taken, isFull, ended, failed };

Turn storeEntry(SortSession& session, InputRun& run, uint32_t length, int32_t& failure) {
  SortBuffer& buffer = run.sortBuffer;
  const MemorySizes& sizes = session.work->sizes;
  const bool isCheck = session.options->mainFunction == MainFunction::check;
  // The space that an entry costs at worst by the usual options, no more than the bound of all entries.
  const int32_t usual = sizes.keyFactor * static_cast<int32_t>(length) + sizes.entryOverhead;
  const auto left = static_cast<int32_t>(buffer.limit - buffer.cursor);
  if (left < usual) return Turn::isFull;

  auto* const entry = reinterpret_cast<SortEntry*>(buffer.cursor);
  const auto record = static_cast<int32_t>(isCheck ? 0 : boundOf(session, length));
  constexpr int32_t padding = 4, tableRow = 4;
  const int32_t room = std::min(left - tableRow, sizes.entryBound) - record - padding;
  const uint32_t key = session.work->records->createKey(
      session, entry->key(), room - static_cast<int32_t>(sizeof(SortEntry)), run.sourceNumber, run.sequence);
  if (key == 0) {
    if (!isCheck && buffer.cursor != buffer.start) return Turn::isFull;
    failure = internalError(bufferRanOut);
    return Turn::failed;
  }
  entry->keyLength = key;
  entry->recordLength = isCheck ? 0 : putRecord(session, entry->record(), buffer.limit);
  if (isCheck) {
    failure = checkEntry(session, run, entry);
    return failure != 0 ? Turn::failed : Turn::taken;
  }
  memset(entry->record() + entry->recordLength, 0, padding);
  if (buffer.tableTop != nullptr) buffer.push(static_cast<uint32_t>(entry->key() - buffer.start));
  buffer.cursor += entry->size();
  return Turn::taken;
}

// For copy, the record alone.
Turn storeBare(SortSession& session, SortBuffer& buffer, uint32_t length) {
  const SortOptions& options = *session.options;
  // With target buffers the exit sees each record as it comes.
  const bool singly = options.outputExit != nullptr && options.outputKind == OutputKind::targetBuffers;
  if (singly && buffer.cursor != buffer.start) return Turn::isFull;
  const uint32_t prefix = options.outputPrefix ? prefixSize : 0;
  const int64_t needed = int64_t{boundOf(session, length)} + prefix;
  if (buffer.limit - buffer.cursor < needed) return Turn::isFull;
  // It may be the caller's buffer: nothing behind the record is touched.
  uint8_t* const to = buffer.cursor + prefix;
  const uint32_t stored = putRecord(session, to, to);
  if (prefix != 0) memcpy(buffer.cursor, &stored, prefix);
  buffer.cursor += prefix + stored;
  RunCounters& counters = session.run->counters;
  counters.bytesWritten += stored;
  ++counters.recordsWritten;
  return Turn::taken;
}

// Where skipping and stopping count from: over the run, in a check over each source.
int64_t countedFrom(const SortSession& session, const InputRun& run) {
  return session.options->mainFunction == MainFunction::check ? run.sequenceBase : 0;
}

Turn takeTurn(SortSession& session, InputRun& run, uint32_t length, int32_t& failure) {
  const SortOptions& options = *session.options;
  RecordState& records = *session.work->records;
  if (options.skipCount > 0 && run.sequence - countedFrom(session, run) < options.skipCount)
    return Turn::skipped;
  if (options.stopAfter >= 0 && records.considered >= options.stopAfter) return Turn::ended;
  Turn turn = Turn::filtered;
  if (options.conditions.count == 0 || !qsxFilterOut(session))
    turn = options.mainFunction == MainFunction::copy ? storeBare(session, run.sortBuffer, length)
                                                      : storeEntry(session, run, length, failure);
  // A record that finds no room comes again.
  if (options.stopAfter >= 0 && turn != Turn::isFull) ++records.considered;
  return turn;
}

}  // namespace

int32_t InitExtract(SortSession& session) {
  int32_t failure = initRecords(session);
  if (failure == 0) failure = InitKeys(session);
  if (failure == 0) initReformat(session);
  if (failure == 0 && session.options->conditions.count > 0) failure = initFilter(session);
  if (failure == 0 && session.options->sums.count > 0) failure = initSum(session);
  return failure;
}

Extracted Extract(SortSession& session, InputRun& run) {
  RecordState& records = *session.work->records;
  RunCounters& counters = session.run->counters;
  records.run = &run;
  for (;;) {
    const Scan scan = records.scan(session, run.cursor, run.limit);
    if (scan == Scan::failed) return {Extracted::hasEnded, session.returnCode.load()};
    if (scan == Scan::needsMore) return {Extracted::needsMore};
    const uint32_t length = lengthOf(records);
    int32_t failure = 0;
    switch (takeTurn(session, run, length, failure)) {
      case Turn::isFull:
        return {Extracted::isFull};
      case Turn::ended:
        return {Extracted::hasEnded};
      case Turn::skipped:
        counters.bytesSkipped += length;
        ++counters.recordsSkipped;
        break;
      case Turn::filtered:
        counters.bytesFiltered += length;
        ++counters.recordsFiltered;
        break;
      case Turn::failed:
        return {Extracted::hasEnded, failure};
      case Turn::taken:
        counters.bytesPassed += length;
        ++counters.recordsPassed;
        break;
    }
    ++run.sequence;
    run.cursor += length;
  }
}

}  // namespace qrt::sort
