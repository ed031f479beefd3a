// Output blocks and where they go: a file, the caller's target buffers or an intermediate run, through an
// output exit where there is one.
#include "sort/engine/output.h"

#include <string.h>

#include <algorithm>

#include "platform/errors.h"
#include "platform/files.h"
#include "sort/engine/entry_copy.h"
#include "sort/engine/merge.h"
#include "sort/engine/messages.h"
#include "sort/engine/report.h"
#include "sort/engine/restore.h"
#include "sort/engine/runs.h"

namespace qrt::sort {

struct OutputState {
  uint8_t* buffers[2];  // O_bufs, one behind the other
  int32_t current;
  uint8_t* blockStart;  // where the range that was given out starts
  platform::FileHandle file;
  bool serviceOpen;
  bool isMid;          // an intermediate run
  BufferRow* target;   // current target buffer
  uint8_t* exitBlock;  // Oue: what is collected for the exit
  uint8_t* spare;      // for what an exit gives when a target buffer has no room for a record
  bool ended;          // the exit wants no more
};

namespace {

constexpr int32_t noTargetRoom = 39, exitFailed = 44, badUsedBytes = 47, cannotCreate = 57;  // messages
constexpr uint32_t prefixSize = sizeof(uint32_t);
constexpr uint8_t textLines = 4, endOfText = 0x1A;
constexpr int32_t exitError = 1;

int32_t endedFromOutside(const SortSession& session) {
  return isRunning(session) ? 0 : message(userTermination);
}

// ---- Files

bool writesWithPrefix(const SortSession& session) {
  return session.options->outputPrefix && !session.work->output->isMid;
}

// Calls `take` for each record of a block of records with a prefix, until it returns false; false, too, for a
// prefix that leads out of the block.
template <typename Take>
bool forEachRecord(uint8_t* block, const uint8_t* end, Take take) {
  while (block < end) {
    uint32_t length;
    if (static_cast<size_t>(end - block) < prefixSize) return false;
    memcpy(&length, block, prefixSize);
    block += prefixSize;
    if (static_cast<size_t>(end - block) < length || !take(block, length)) return false;
    block += length;
  }
  return true;
}

bool NativeWriteOutputFile(SortSession& session, uint8_t* block, int32_t length) {
  constexpr int32_t largestPiece = 4096;  // to a standard stream
  const OutputState& output = *session.work->output;
  if (writesWithPrefix(session)) {
    // The lines close up over their prefixes.
    const bool addsLineEnd = session.options->outputTextMode != textLines;
    uint8_t* to = block;
    forEachRecord(block, block + length, [&](const uint8_t* record, uint32_t bytes) {
      memmove(to, record, bytes);
      to += bytes;
      if (addsLineEnd) *to++ = '\n';
      return true;
    });
    length = static_cast<int32_t>(to - block);
  }
  const int32_t most = output.file == platform::standardOutputFile ? largestPiece : length;
  for (int32_t at = 0; at < length; at += most) {
    const int32_t piece = std::min(most, length - at);
    if (platform::writeFully(output.file, block + at, static_cast<size_t>(piece)) != piece) return false;
  }
  return true;
}

bool writeThroughService(SortSession& session, uint8_t* block, int32_t length) {
  const FileService& service = *session.run->fileService;
  return forEachRecord(block, block + length, [&](const uint8_t* record, uint32_t bytes) {
    return service.write(service.context, 0, {record, bytes});
  });
}

int32_t writeError(SortSession& session) {
  const OutputState& output = *session.work->output;
  const int32_t code = output.serviceOpen ? 0 : platform::lastError();
  const char* const name = output.isMid                                      ? "Work"
                           : session.options->outputKind == OutputKind::file ? session.options->outputName
                                                                             : "stdout";
  tellCallback(session, {code, name, 0, ErrorKind::write, nullptr});
  return message(writeFailed, name, code);
}

int32_t writeBytes(SortSession& session, uint8_t* block, int32_t length) {
  const bool written = session.work->output->serviceOpen ? writeThroughService(session, block, length)
                                                         : NativeWriteOutputFile(session, block, length);
  return written ? 0 : writeError(session);
}

void giveOutBlock(SortSession& session, OutputRange& range) {
  OutputState& output = *session.work->output;
  output.blockStart = output.exitBlock != nullptr ? output.exitBlock : output.buffers[output.current];
  range = {output.blockStart, output.blockStart + session.work->sizes.outputBuffer};
}

int32_t SetNextO_buf(SortSession& session, OutputRange& range, bool) {
  OutputState& output = *session.work->output;
  const auto length = static_cast<int32_t>(range.cursor - output.blockStart);
  if (const int32_t failure = writeBytes(session, output.blockStart, length); failure != 0) return failure;
  if (const int32_t failure = endedFromOutside(session); failure != 0) return failure;
  output.current ^= 1;
  giveOutBlock(session, range);
  return 0;
}

// ---- Target buffers

int32_t takeNextTarget(OutputState& output) {
  ++output.target;
  return output.target->address != nullptr ? 0 : message(noTargetRoom);
}

void giveOutTarget(OutputState& output, OutputRange& range) {
  const BufferRow& row = *output.target;
  output.blockStart = row.address;
  range = {row.address, row.address + row.length};
}

int32_t SetNextT_buf(SortSession& session, OutputRange& range, bool isFinal) {
  OutputState& output = *session.work->output;
  output.target->used = static_cast<int32_t>(range.cursor - output.target->address);
  if (isFinal) return 0;
  if (const int32_t failure = takeNextTarget(output); failure != 0) return failure;
  giveOutTarget(output, range);
  return endedFromOutside(session);
}

// Spreads what an exit gave over the target buffers.
int32_t spread(OutputState& output, const uint8_t* bytes, int32_t length) {
  while (length > 0) {
    BufferRow& row = *output.target;
    const int32_t moved = std::min(length, row.length - row.used);
    memcpy(row.address + row.used, bytes, static_cast<size_t>(moved));
    row.used += moved;
    bytes += moved;
    length -= moved;
    if (length > 0)
      if (const int32_t failure = takeNextTarget(output); failure != 0) return failure;
  }
  return 0;
}

// ---- The output exit

void traceExit(SortSession& session, const char* label, const BufferRow& from, const BufferRow& to) {
  trace(session, "%s (%p,%ld,%ld) %s (%p,%ld,%ld)\r\n", label, static_cast<void*>(from.address),
        static_cast<long>(from.length), static_cast<long>(from.used),
        " to_Lumasift=", static_cast<void*>(to.address), static_cast<long>(to.length),
        static_cast<long>(to.used));
}

// Room for the exit's data: in the target buffer, the spare buffer where that has none for a record, the
// O_bufs, or none at all.
BufferRow roomForExit(SortSession& session) {
  OutputState& output = *session.work->output;
  const int32_t record = session.options->recordLength + 2;
  if (output.target != nullptr) {
    const BufferRow& row = *output.target;
    if (row.length - row.used < record) return {output.spare, record, 0};
    return {row.address + row.used, row.length - row.used, 0};
  }
  if (session.options->outputKind == OutputKind::none) return {nullptr, 0, 0};
  return {output.buffers[0], 2 * session.work->sizes.outputBuffer, 0};
}

// Writes or keeps what the exit gave in `to`, which was `room` before.
int32_t takeFromExit(SortSession& session, const BufferRow& to, const BufferRow& room) {
  OutputState& output = *session.work->output;
  if (output.target == nullptr) {
    const auto isWhole = [&] {
      return !writesWithPrefix(session) ||
             forEachRecord(to.address, to.address + to.used, [](const uint8_t*, uint32_t) { return true; });
    };
    if (to.used > 0 && (session.options->outputKind == OutputKind::none || !isWhole()))
      return message(badUsedBytes);
    return writeBytes(session, to.address, to.used);
  }
  if (to.address == room.address && room.address != output.spare) {
    output.target->used += to.used;
    return 0;
  }
  return spread(output, to.address, to.used);
}

// The end that an exit's result other than 0 means.
int32_t endByExit(SortSession& session, int32_t result) {
  session.work->output->ended = true;
  if (result == endOfOutput) return endOfOutput;
  if (result == exitError) return message(exitFailed);
  return endRun(session, result);
}

// Hands the block to the exit until it has taken all of it; with the final flag until it wants no more calls.
int32_t SetNextOue_Buf(SortSession& session, OutputRange& range, bool isFinal) {
  OutputState& output = *session.work->output;
  if (output.ended) return endOfOutput;
  uint8_t* at = output.exitBlock;
  for (;;) {
    const auto length = static_cast<int32_t>(range.cursor - at);
    if (length == 0 && !isFinal) break;
    BufferRow from = {at, length, 0};
    const BufferRow room = roomForExit(session);
    BufferRow to = room;
    traceExit(session, "calling OUE:   from_Lumasift=", from, to);
    const int32_t result = session.options->outputExit(&to, &from);
    traceExit(session, "back from OUE:   from_Lumasift=", from, to);
    if (const int32_t failure = endedFromOutside(session); failure != 0) return failure;
    const int32_t most = to.address == room.address ? room.length : to.length;
    if (from.used < 0 || from.used > length || to.used < 0 || to.used > most) return message(badUsedBytes);
    if (const int32_t failure = takeFromExit(session, to, room); failure != 0) return failure;
    if (result != 0) return endByExit(session, result);
    at += from.used;
  }
  giveOutBlock(session, range);
  return 0;
}

// With target buffers the exit sees each record as it comes; one that others may be added to once it can't
// change any more.
int32_t restoreSingly(SortSession& session, const SortEntry* entry, const SortEntry* previous,
                      OutputRange& range) {
  if (const int32_t result = RestoreRawRecord(session, entry, previous, range); result != 0) return result;
  const uint8_t* const start = session.work->output->blockStart;
  HeldRecord& held = session.work->held;
  if (range.cursor == start || held.record == start) return 0;
  if (session.options->sums.count == 0) return session.work->writeBlock(session, range, false);
  range.cursor = held.record;
  if (const int32_t result = session.work->writeBlock(session, range, false); result != 0) return result;
  memmove(range.cursor, held.record, held.length);
  held.record = range.cursor;
  range.cursor += held.length;
  return 0;
}

// ---- Opening

int32_t allocateBuffers(SortSession& session, OutputState& output) {
  const auto size = static_cast<size_t>(session.work->sizes.outputBuffer);
  const size_t bytes = 2 * size + copySlack;
  output.buffers[0] = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
  if (output.buffers[0] == nullptr) return noMemory(bytes);
  output.buffers[1] = output.buffers[0] + size;
  return 0;
}

int32_t allocateForExit(SortSession& session, OutputState& output) {
  const size_t bytes = static_cast<size_t>(session.work->sizes.outputBuffer) + copySlack;
  const auto record = static_cast<size_t>(session.options->recordLength) + 2;
  output.exitBlock = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
  output.spare = static_cast<uint8_t*>(session.memory.allocateBuffer(record));
  return output.exitBlock == nullptr || output.spare == nullptr ? noMemory(bytes + record) : 0;
}

int32_t openOutputFile(SortSession& session, OutputState& output) {
  const SortOptions& options = *session.options;
  int32_t code = 0;
  if (options.outputKind == OutputKind::standardOutput) {
    output.file = platform::standardOutputFile;
    return 0;
  }
  if (options.outputThroughService) {
    const FileService& service = *session.run->fileService;
    output.serviceOpen = service.open(service.context, 0, Direction::output);
    if (output.serviceOpen) return 0;
  } else {
    output.file = platform::createFile(options.outputName);
    if (output.file != platform::noFile) return 0;
    code = platform::lastError();
  }
  tellCallback(session, {code, options.outputName, 0, ErrorKind::open, nullptr});
  return message(cannotCreate, options.outputName, code);
}

int32_t openMidRun(SortSession& session, OutputState& output, int32_t indexRows, int32_t fileNumber) {
  output.isMid = true;
  if (const int32_t failure = OpenWriteMidFile(session, fileNumber, output.file); failure != 0)
    return failure;
  auto* const blocks = session.memory.make<uint32_t>(static_cast<size_t>(indexRows));
  SortRun* const run = blocks != nullptr ? InitMidRun(session, blocks, indexRows, nullptr, nullptr) : nullptr;
  if (run == nullptr) return blocks == nullptr ? message(49) : session.returnCode.load();
  session.work->outputRun = run;
  return addBlock(session, *run);
}

int32_t openFinal(SortSession& session, OutputState& output) {
  SortWorkState& work = *session.work;
  const SortOptions& options = *session.options;
  work.restore = RestoreRawRecord;
  if (options.outputKind == OutputKind::targetBuffers) {
    output.target = options.targetBuffers;
    for (BufferRow* row = options.targetBuffers; row->address != nullptr; ++row) row->used = 0;
    if (output.target->address == nullptr) return message(noTargetRoom);
  } else if (options.outputKind != OutputKind::none) {
    if (const int32_t failure = openOutputFile(session, output); failure != 0) return failure;
    if (const int32_t failure = allocateBuffers(session, output); failure != 0) return failure;
  }
  if (options.outputExit == nullptr) {
    work.writeBlock = output.target != nullptr ? SetNextT_buf : SetNextO_buf;
    return 0;
  }
  work.writeBlock = SetNextOue_Buf;
  if (output.target != nullptr) work.restore = restoreSingly;
  return allocateForExit(session, output);
}

}  // namespace

int32_t endRun(SortSession& session, int32_t code) {
  int32_t none = 0;
  session.returnCode.compare_exchange_strong(none, code);
  session.running.store(false, std::memory_order_release);
  return session.returnCode.load();
}

int32_t qsxInitOutput(SortSession& session, int32_t indexRows, int32_t fileNumber, OutputRange& range) {
  const TracedCall call(session, "qsxInitOutput");
  SortWorkState& work = *session.work;
  OutputState* const output = session.memory.make<OutputState>();
  if (output == nullptr) return noMemory(sizeof(OutputState));
  work.output = output;
  output->file = platform::noFile;
  int32_t failure;
  if (indexRows > 0) {
    work.restore = RestoreMidRecord;
    work.writeBlock = SetNextO_buf;
    failure = openMidRun(session, *output, indexRows, fileNumber);
    if (failure == 0) failure = allocateBuffers(session, *output);
  } else {
    failure = openFinal(session, *output);
  }
  if (failure != 0) return failure;
  if (output->target != nullptr && output->exitBlock == nullptr)
    giveOutTarget(*output, range);
  else
    giveOutBlock(session, range);
  return 0;
}

int32_t closeOutput(SortSession& session, bool succeeded) {
  OutputState* const output = session.work->output;
  if (output == nullptr) return 0;
  const SortOptions& options = *session.options;
  int32_t failure = 0;
  if (succeeded && session.work->endsInEndOfText && !output->isMid && !output->serviceOpen &&
      options.outputKind == OutputKind::file) {
    if (platform::writeFully(output->file, &endOfText, 1) != 1) failure = writeError(session);
    ++session.run->counters.bytesWritten;
  }
  bool closed = true;
  if (output->serviceOpen) {
    const FileService& service = *session.run->fileService;
    closed = service.close(service.context, 0, Direction::output);
  } else if (output->file > platform::standardErrorFile) {
    closed = platform::closeFile(output->file);
  }
  if (!closed && succeeded && failure == 0) {
    const int32_t code = output->serviceOpen ? 0 : platform::lastError();
    tellCallback(session, {code, output->isMid ? "Work" : options.outputName, 0, ErrorKind::close, nullptr});
    failure = message(systemCallFailed, "CloseHandle", code);
  }
  session.memory.release(output->buffers[0]);
  session.memory.release(output->exitBlock);
  session.memory.release(output->spare);
  session.memory.release(output);
  session.work->output = nullptr;
  session.work->held.record = nullptr;
  return failure;
}

}  // namespace qrt::sort
