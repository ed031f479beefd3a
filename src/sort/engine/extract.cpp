#include "sort/engine/extract.h"

#include <string.h>

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

uint32_t lengthOf(const RecordState& records) {
  return static_cast<uint32_t>(records.end - records.begin);
}

// The record at `to`, reformatted or as it is; returns its length.
uint32_t putRecord(const SortSession& session, uint8_t* to) {
  if (session.options->reformat.count > 0) return reformatRecord(session, to);
  const RecordState& records = *session.work->records;
  memcpy(to, records.begin, lengthOf(records));
  return lengthOf(records);
}

uint8_t* putPadding(uint8_t* to) {
  while (reinterpret_cast<uintptr_t>(to) % sizeof(uint32_t) != 0) *to++ = 0;
  return to;
}

// Skipped records, and the end by stopaft.
enum class Turn : uint8_t { skipped, taken, ended };

Turn turnOf(const SortSession& session, const InputRun& run) {
  const SortOptions& options = *session.options;
  RecordState& records = *session.work->records;
  const int64_t base = options.mainFunction == MainFunction::check ? run.sequenceBase : 0;
  if (run.sequence - base < options.skipCount) return Turn::skipped;
  if (options.stopAfter >= 0 && records.considered >= options.stopAfter) return Turn::ended;
  ++records.considered;
  return Turn::taken;
}

// The space that a record costs at worst.
uint64_t spaceFor(const SortSession& session, uint32_t length) {
  const MemorySizes& sizes = session.work->sizes;
  uint64_t space =
      static_cast<uint64_t>(sizes.keyFactor) * length + static_cast<uint64_t>(sizes.entryOverhead);
  if (session.options->mainFunction != MainFunction::copy) return space;
  if (session.options->reformat.count > 0) space = reformatBound(*session.options, length);
  return space + (session.options->outputPrefix ? prefixSize : 0);
}

int32_t storeEntry(SortSession& session, InputRun& run, uint64_t space) {
  SortBuffer& buffer = run.sortBuffer;
  const SortOptions& options = *session.options;
  const uint32_t length = lengthOf(*session.work->records);
  const uint64_t record = options.reformat.count > 0 ? reformatBound(options, length) : length;
  auto* const entry = reinterpret_cast<SortEntry*>(buffer.cursor);
  entry->keyLength =
      buildKey(session, entry->key(), static_cast<uint32_t>(space - record) - sizeof(SortEntry),
               run.sourceNumber, run.sequence);
  entry->recordLength = putRecord(session, entry->record());
  uint8_t* const end = putPadding(entry->record() + entry->recordLength);
  if (options.mainFunction == MainFunction::check) return checkEntry(session, run, entry);
  if (buffer.tableTop != nullptr) buffer.push(static_cast<uint32_t>(entry->key() - buffer.start));
  buffer.cursor = end;
  return 0;
}

void storeBare(SortSession& session, SortBuffer& buffer) {
  const uint32_t prefix = session.options->outputPrefix ? prefixSize : 0;
  const uint32_t length = putRecord(session, buffer.cursor + prefix);
  if (prefix != 0) memcpy(buffer.cursor, &length, prefix);
  buffer.cursor += prefix + length;
  RunCounters& counters = session.run->counters;
  counters.bytesWritten += length;
  ++counters.recordsWritten;
}

}  // namespace

int32_t initExtract(SortSession& session) {
  int32_t failure = initRecords(session);
  if (failure == 0) failure = initKeys(session);
  if (failure == 0 && session.options->conditions.count > 0) failure = initFilter(session);
  if (failure == 0 && session.options->sums.count > 0) failure = initSum(session);
  return failure;
}

Extracted Extract(SortSession& session, InputRun& run) {
  const SortOptions& options = *session.options;
  RecordState& records = *session.work->records;
  RunCounters& counters = session.run->counters;
  const bool isCopy = options.mainFunction == MainFunction::copy;
  records.sourceName = run.currentSource >= 0 ? run.sources[run.currentSource].name : "input";
  for (;;) {
    records.recordNumber = run.sequence - run.sequenceBase + 1;
    switch (records.scan(session, run.cursor, run.limit)) {
      case Scan::failed:
        return {Extracted::hasEnded, session.returnCode.load()};
      case Scan::needsMore:
        return {Extracted::needsMore};
      case Scan::record:
        break;
    }
    const uint32_t length = lengthOf(records);
    // A record that finds no room is scanned again: it must not count twice.
    const uint64_t space = spaceFor(session, length);
    if (static_cast<uint64_t>(run.sortBuffer.limit - run.sortBuffer.cursor) < space)
      return {Extracted::isFull};
    switch (turnOf(session, run)) {
      case Turn::ended:
        return {Extracted::hasEnded};
      case Turn::skipped:
        counters.bytesSkipped += length;
        ++counters.recordsSkipped;
        break;
      case Turn::taken:
        if (options.conditions.count > 0 && qsxFilterOut(session)) {
          counters.bytesFiltered += length;
          ++counters.recordsFiltered;
          break;
        }
        counters.bytesPassed += length;
        ++counters.recordsPassed;
        if (isCopy)
          storeBare(session, run.sortBuffer);
        else if (const int32_t failure = storeEntry(session, run, space); failure != 0)
          return {Extracted::hasEnded, failure};
        break;
    }
    ++run.sequence;
    run.cursor += length;
  }
}

}  // namespace qrt::sort
