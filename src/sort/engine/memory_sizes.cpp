// Sizes of all buffers, worked out from the options.
#include "sort/engine/memory_sizes.h"

#include <inttypes.h>

#include <algorithm>

#include "platform/files.h"
#include "platform/locale.h"
#include "sort/engine/messages.h"

namespace qrt::sort {
namespace {

constexpr int64_t memoryLimit = 1048576;
constexpr int64_t midBlockBytes = 4096;
constexpr int64_t buffersOfAKind = 2;

constexpr int64_t roundUp(int64_t value, int64_t multiple) {
  return (value + multiple - 1) / multiple * multiple;
}

// Bytes of all sources; those that can't be told count as none.
int64_t SumAllInputFiles(const SortOptions& options) {
  int64_t sum = 0;
  for (const SortSource& source : options.sources) {
    int64_t size = -1;
    if (source.kind == SortSource::Kind::buffer) size = source.buffer->length;
    if (source.kind == SortSource::Kind::standardInput)
      size = platform::fileSize(platform::standardInputFile);
    if (source.kind == SortSource::Kind::file) size = platform::fileSize(source.name);
    sum += std::max<int64_t>(size, 0);
  }
  return sum;
}

void traceSizes(SortSession& session) {
  const SortWorkState& work = *session.work;
  trace(session, "\r\n    Memory Management calculated parameters:\r\n");
  if (work.inputSizeKnown) {
    const int64_t records = work.inputSize / std::max(session.options->recordLength, 1);
    trace(session, "       Input Size=%" PRId64 "\r\n", work.inputSize);
    trace(session, "       Total records=%" PRId64 "\r\n", records);
    trace(session, "       Extracted Input Size =%" PRId64 "\r\n",
          work.inputSize * work.sizes.keyFactor + records * work.sizes.entryOverhead);
  } else {
    trace(session, "       Input size cannot be determined\r\n");
  }
  trace(session, "       T1=%d\r\n", work.sizes.t1);
  trace(session, "       T2=%d\r\n", work.sizes.t2);
}

int32_t sizeEntries(const SortOptions& options, MemorySizes& sizes) {
  const bool isCopy = options.mainFunction == MainFunction::copy;
  const int64_t keys = options.keys.count;
  int64_t ranges = 0, constants = 0;
  for (const ReformatItem& item : options.reformat) {
    if (item.kind == ReformatItem::Kind::range) ++ranges;
    if (item.kind == ReformatItem::Kind::constant) constants += item.constant.length;
  }
  int64_t factor = isCopy ? 0 : 2 * keys;
  if (options.reformat.count == 0 && options.mainFunction != MainFunction::check) ++factor;
  const int64_t widest =
      2 * int64_t{options.localeCollation ? platform::longestCharacter(options.localeName) : 0};
  if (options.localeCollation && !isCopy) factor = widest + 1;
  factor += ranges;

  int64_t overhead = 0;
  if (!isCopy) {
    overhead = 2 * keys + 32 + constants;
    if (options.mainFunction == MainFunction::merge) overhead += 4;
    if (options.binary) overhead += 4;
    if (std::any_of(options.keys.begin(), options.keys.end(),
                    [](const SortKey& key) { return key.type == FieldType::fixed || isDecimal(key.type); }))
      overhead += 2;
  }
  const int64_t longest = options.recordLength + 8;
  // Each key by a locale may be as long as the widest characters make it.
  int64_t bound = overhead + longest * std::max(factor, widest * std::max<int64_t>(keys, 1));
  if (isCopy) bound += constants + 8;  // an output block takes the longest record
  if (bound > INT32_MAX / 8) return noMemory(static_cast<size_t>(std::min<int64_t>(2 * bound, INT32_MAX)));
  sizes.keyFactor = static_cast<int32_t>(factor);
  sizes.entryOverhead = static_cast<int32_t>(overhead);
  sizes.entryBound = static_cast<int32_t>(bound);
  return 0;
}

}  // namespace

int32_t MemManageInit(SortSession& session) {
  const SortOptions& options = *session.options;
  SortWorkState& work = *session.work;
  MemorySizes& sizes = work.sizes;
  work.inputSizeKnown = options.inputExit == nullptr;
  work.inputSize = std::max<int64_t>({options.inputSizeEstimate, SumAllInputFiles(options), 0});
  if (const int32_t failure = sizeEntries(options, sizes); failure != 0) return failure;

  const int64_t exits = options.inputExit != nullptr ? 1 : 0;
  const int64_t sources = options.sources.count;
  const bool isMerge = options.mainFunction == MainFunction::merge;
  const int64_t shares = isMerge ? (exits + 2) * sources + buffersOfAKind * sources + 2 : exits + 10;
  const int64_t share = std::min(memoryLimit / buffersOfAKind, memoryLimit / shares);
  int64_t sortBuffer = roundUp(std::max<int64_t>(buffersOfAKind * share, 2 * int64_t{sizes.entryBound}), 4);
  int64_t midBlock = midBlockBytes;
  if (isMerge)
    midBlock = roundUp(std::max<int64_t>({buffersOfAKind * share, midBlockBytes, sizes.entryBound}), 4);
  const int64_t outputBuffer = (isMerge ? midBlock : sortBuffer) / buffersOfAKind;
  if (options.mainFunction == MainFunction::check) sortBuffer = roundUp(2 * int64_t{sizes.entryBound}, 8);
  const bool isFixed = options.binary && !options.variableLength;
  const int64_t inputBuffer = roundUp(outputBuffer, isFixed ? options.fixedLength : 4);
  const int64_t resident = (memoryLimit - (exits + 2) * inputBuffer - 2 * sortBuffer) / sortBuffer;

  sizes.t1 = sizes.t2 = memoryLimit;
  sizes.blockSize = midBlockBytes;
  sizes.bufferCount = buffersOfAKind;
  sizes.inputBuffer = static_cast<int32_t>(inputBuffer);
  sizes.sortBuffer = static_cast<int32_t>(sortBuffer);
  sizes.midBlock = static_cast<int32_t>(midBlock);
  sizes.outputBuffer = static_cast<int32_t>(outputBuffer);
  sizes.residentBuffers = static_cast<int32_t>(std::max<int64_t>(resident, 1));
  traceSizes(session);
  return 0;
}

}  // namespace qrt::sort
