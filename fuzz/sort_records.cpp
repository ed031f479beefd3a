// Option texts over blocks of records: the first line of the input is the option text, the rest the block.
// What is extracted is restored in its order, with sums. Nothing may be written behind a buffer, and the
// extraction goes on.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "sort/engine/entry.h"
#include "sort/engine/entry_copy.h"
#include "sort/engine/extract.h"
#include "sort/engine/memory_sizes.h"
#include "sort/engine/parse.h"
#include "sort/engine/records.h"
#include "sort/engine/restore.h"
#include "sort/engine/work_state.h"

namespace {

using namespace qrt::sort;

constexpr uint8_t guard = 0xA5;
constexpr size_t guardSize = 64;

void require(bool holds) {
  if (!holds) abort();
}

// A buffer with its slack, and guard bytes behind.
struct Buffer {
  std::vector<uint32_t> words;
  size_t room;

  explicit Buffer(size_t bytes) : words((bytes + copySlack + guardSize) / 4 + 1), room(bytes) {
    memset(start() + room + copySlack, guard, guardSize);
  }
  uint8_t* start() { return reinterpret_cast<uint8_t*>(words.data()); }
  void check() {
    const uint8_t* const end = start() + room + copySlack;
    require(std::all_of(end, end + guardSize, [](uint8_t byte) { return byte == guard; }));
  }
};

// Restores the entries of the S_buf.
void restoreAll(SortSession& session, const SortBuffer& entries, Buffer& block) {
  static uint8_t* blockStart;
  blockStart = block.start();
  session.work->writeBlock = [](SortSession&, OutputRange& output, bool) {
    output.cursor = blockStart;
    return 0;
  };
  OutputRange range{blockStart, blockStart + block.room};
  const SortEntry* previous = nullptr;
  for (uint8_t* at = entries.start; at < entries.cursor;) {
    const auto* const entry = reinterpret_cast<const SortEntry*>(at);
    if (RestoreRawRecord(session, entry, previous, range) != 0) break;
    require(range.cursor >= blockStart && range.cursor <= range.limit);
    previous = entry;
    at += entry->size();
  }
  session.work->held.record = nullptr;
  block.check();
}

void empty(const SortSession& session, InputRun& run) {
  SortBuffer& buffer = run.sortBuffer;
  buffer.cursor = buffer.start;
  buffer.limit = buffer.start + session.work->sizes.sortBuffer;
  const bool keepsTable = session.options->mainFunction == MainFunction::sort;
  buffer.tableTop = keepsTable ? reinterpret_cast<uint32_t*>(buffer.limit) : nullptr;
}

void extractAll(SortSession& session, std::vector<uint8_t>& block) {
  const MemorySizes& sizes = session.work->sizes;
  Buffer entries(static_cast<size_t>(sizes.sortBuffer)), output(static_cast<size_t>(sizes.outputBuffer));
  const bool keepsEntries = session.options->mainFunction == MainFunction::sort ||
                            session.options->mainFunction == MainFunction::merge;
  InputRun run{};
  run.sources = session.options->sources.rows;
  run.cursor = run.blockStart = block.data();
  run.limit = block.data() + block.size();
  run.sortBuffer.start = entries.start();
  for (;;) {
    empty(session, run);
    const uint8_t* const before = run.cursor;
    const Extracted extracted = Extract(session, run);
    require(run.cursor <= run.limit && run.sortBuffer.cursor <= run.sortBuffer.limit);
    entries.check();
    if (keepsEntries && isRunning(session)) restoreAll(session, run.sortBuffer, output);
    if (extracted.state != Extracted::isFull || !isRunning(session)) break;
    require(run.cursor > before);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto* const lineEnd = static_cast<const uint8_t*>(memchr(data, '\n', size));
  if (lineEnd == nullptr) return 0;
  const std::string text(reinterpret_cast<const char*>(data), static_cast<size_t>(lineEnd - data));
  // Options that name files.
  for (const char* const word : {"msg", "trace", "-p"})
    if (text.find(word) != text.npos) return 0;

  int32_t code;
  SortSession* const session = makeSession(code);
  require(session != nullptr);
  uint8_t byte = 0;
  const BufferRow sources[] = {{&byte, 1, 0}, {}};
  BufferRow targets[] = {{&byte, 1, 0}, {}};
  EngineArguments arguments;
  arguments.text = text;
  arguments.sources = sources;
  arguments.targets = targets;
  if (prepare(*session, arguments) == 0) {
    session->work = session->memory.make<SortWorkState>();
    require(session->work != nullptr);
    constexpr int32_t most = 16 << 20;
    if (MemManageInit(*session) == 0 && session->work->sizes.sortBuffer < most &&
        InitExtract(*session) == 0) {
      std::vector<uint8_t> block(lineEnd + 1, data + size);
      extractAll(*session, block);
    }
    freeRecords(*session);
  }
  freeSession(session);
  return 0;
}
