#include "sort/engine/restore.h"

#include <string.h>

#include "sort/engine/entry_copy.h"
#include "sort/engine/messages.h"
#include "sort/engine/sum.h"

namespace qrt::sort {
namespace {

constexpr int32_t equalKeyedRecords = 2, sumOverflow = 257;  // messages
constexpr uint32_t prefixSize = sizeof(uint32_t);

int32_t putRecord(SortSession& session, const uint8_t* record, uint32_t length, OutputRange& output) {
  const SortOptions& options = *session.options;
  const uint32_t needed = length + (options.outputPrefix ? prefixSize : 0);
  while (static_cast<uint32_t>(output.limit - output.cursor) < needed)
    if (const int32_t result = session.work->writeBlock(session, output, false); result != 0) return result;
  uint8_t* placed = output.cursor;
  if (options.outputPrefix) {
    memcpy(placed, &length, prefixSize);
    placed += prefixSize;
  }
  // Nothing is written behind the last record in a buffer of the caller's.
  const bool hasSlack = static_cast<uint32_t>(output.limit - placed) >= length + copySlack;
  if (hasSlack && options.outputKind != OutputKind::targetBuffers)
    copyWithSlack(placed, record, length);
  else
    memcpy(placed, record, length);
  output.cursor = placed + length;
  if (session.options->sums.count > 0) {
    session.work->held.record = placed;
    session.work->held.length = length;
  }
  RunCounters& counters = session.run->counters;
  counters.bytesWritten += length;
  ++counters.recordsWritten;
  return 0;
}

// Adds a record with the held one's keys to it; false when it has to stand by itself.
bool addToHeld(SortSession& session, const SortEntry& entry, int32_t& result, OutputRange& output) {
  HeldRecord& held = session.work->held;
  RunCounters& counters = session.run->counters;
  if (held.record == nullptr) return false;
  auto* const record = const_cast<uint8_t*>(entry.record());
  uint32_t added = entry.recordLength;  // bytes of the record that is no more
  switch (addUp(session, {held.record, held.length}, {record, entry.recordLength})) {
    case Summed::overflow:
      if (!held.overflowTold) message(sumOverflow);
      held.overflowTold = true;
      return false;
    case Summed::intoNew:
      output.cursor = held.record - (session.options->outputPrefix ? prefixSize : 0);
      counters.bytesWritten -= held.length;
      --counters.recordsWritten;
      added = held.length;
      held.record = nullptr;
      result = putRecord(session, record, entry.recordLength, output);
      break;
    case Summed::intoHeld:
      break;
  }
  counters.bytesSummed += added;
  ++counters.recordsSummed;
  return true;
}

}  // namespace

bool haveEqualKeyFields(const SortSession& session, const SortEntry& left, const SortEntry& right) {
  if (left.keyLength != right.keyLength) return false;
  const uint32_t telling = session.options->mainFunction == MainFunction::merge ? 3 : 2;
  for (uint32_t word = left.keyLength / sizeof(uint32_t) - telling; word-- > 0;)
    if (left.keyWords()[word] != right.keyWords()[word]) return false;
  return true;
}

int32_t RestoreRawRecord(SortSession& session, const SortEntry* entry, const SortEntry* previous,
                         OutputRange& output) {
  const SortOptions& options = *session.options;
  const bool compares = options.stopAtUniqueViolation || options.unique || options.sums.count > 0;
  if (compares && previous != nullptr && haveEqualKeyFields(session, *previous, *entry)) {
    if (options.stopAtUniqueViolation) {
      message(equalKeyedRecords);
      return equalKeys;
    }
    if (options.unique) {
      session.run->counters.bytesEqual += entry->recordLength;
      ++session.run->counters.recordsEqual;
      return 0;
    }
    int32_t result = 0;
    if (addToHeld(session, *entry, result, output)) return result;
  }
  session.work->held.record = nullptr;
  return putRecord(session, entry->record(), entry->recordLength, output);
}

}  // namespace qrt::sort
