// Sources read into blocks in which each record stands whole, what input exits make of them, and the loop
// that turns blocks into entries.
#include "sort/engine/input.h"

#include <string.h>

#include <algorithm>

#include "platform/errors.h"
#include "platform/files.h"
#include "sort/engine/extract.h"
#include "sort/engine/messages.h"
#include "sort/engine/report.h"

namespace qrt::sort {
namespace {

constexpr int32_t tooLong = 32, cannotOpen = 36, exitFailed = 43, badUsedBytes = 46;  // messages
constexpr int32_t lineEndAssumed = 256, truncatedRecord = 268, truncatedInBuffer = 269;
constexpr uint8_t endOfText = 0x1A;
constexpr char exitName[] = "input-user-exit data";

// Results of an exit.
constexpr int32_t failed = 1, endOfInput = 2, noMoreCalls = 3;

// What is left of a record at a block's end, at most.
int32_t mostLeft(const SortOptions& options) {
  return options.recordLength + 2;
}

// Room in front of a block for what was left of the one before.
int32_t frontPad(const SortOptions& options) {
  const int32_t pad = (options.recordLength + 7) & ~3;
  return options.inputExit != nullptr ? 2 * pad : pad;
}

// Bytes of a block: I, and never less than a record.
int32_t blockRoom(const SortSession& session) {
  return std::max(session.work->sizes.inputBuffer, mostLeft(*session.options) + 2);
}

SortSource& currentSource(const InputRun& run) {
  return run.sources[run.currentSource];
}

// ---- Sources

int32_t openSource(SortSession& session, InputRun& run) {
  SortSource& source = currentSource(run);
  run.sourceEnded = false;
  run.handle = platform::noFile;
  switch (source.kind) {
    case SortSource::Kind::buffer:
      return 0;
    case SortSource::Kind::standardInput:
      run.handle = platform::standardInputFile;
      return 0;
    case SortSource::Kind::file:
      break;
  }
  bool opened;
  if (source.throughService) {
    const FileService& service = *session.run->fileService;
    opened = service.open(service.context, source.serviceIndex, Direction::input);
    run.serviceOpen = opened;
  } else {
    run.handle = platform::openFileForReading(source.name);
    opened = run.handle != platform::noFile;
  }
  if (opened) return 0;
  const int32_t code = source.throughService ? 0 : platform::lastError();
  tellCallback(session, {code, source.name, source.serviceIndex, ErrorKind::open, nullptr});
  return message(cannotOpen, source.name, code);
}

int32_t closeSource(SortSession& session, InputRun& run) {
  if (run.currentSource < 0) return 0;
  SortSource& source = currentSource(run);
  if (run.serviceOpen) {
    const FileService& service = *session.run->fileService;
    run.serviceOpen = false;
    if (service.close(service.context, source.serviceIndex, Direction::input)) return 0;
    tellCallback(session, {0, source.name, source.serviceIndex, ErrorKind::close, nullptr});
    return message(systemCallFailed, "CloseHandle", 0);
  }
  if (run.handle > platform::standardErrorFile) platform::closeFile(run.handle);
  run.handle = platform::noFile;
  return 0;
}

int32_t readError(SortSession& session, const SortSource& source, int32_t code) {
  tellCallback(session, {code, source.name, source.serviceIndex, ErrorKind::read, nullptr});
  return message(readFailed, source.name, code);
}

// Fills the block at `at` from the current source, which may end with it. Returns the bytes, or below 0 for a
// failure, told.
int32_t ReadInputFiles(SortSession& session, InputRun& run, uint8_t* at) {
  const int32_t room = session.work->sizes.inputBuffer;
  int32_t bytes = 0;
  while (bytes < room) {
    const int32_t count = platform::readFile(run.handle, at + bytes, static_cast<size_t>(room - bytes));
    if (count < 0) {
      readError(session, currentSource(run), platform::lastError());
      return -1;
    }
    if (count == 0) {
      run.sourceEnded = true;
      break;
    }
    bytes += count;
  }
  return bytes;
}

// The same through the file service, record by record; lines get their end back.
int32_t readThroughService(SortSession& session, InputRun& run, uint8_t* at) {
  const SortOptions& options = *session.options;
  const FileService& service = *session.run->fileService;
  const SortSource& source = currentSource(run);
  const int32_t room = blockRoom(session), most = mostLeft(options);
  int32_t bytes = 0;
  while (room - bytes >= most + 1) {
    const ServiceRead read = service.read(service.context, source.serviceIndex,
                                          {at + bytes, static_cast<size_t>(room - bytes - 1)});
    if (read.outcome == ServiceRead::failure) {
      readError(session, source, 0);
      return -1;
    }
    if (read.outcome == ServiceRead::endOfFile) {
      run.sourceEnded = true;
      break;
    }
    bytes += static_cast<int32_t>(read.length);
    if (!options.binary) at[bytes++] = '\n';
  }
  return bytes;
}

// A stretch of raw input.
struct Block {
  uint8_t*& cursor;
  uint8_t*& limit;

  int32_t left() const { return static_cast<int32_t>(limit - cursor); }
};

// Puts what is left of the block in front of `next`; null when it is more than a record.
uint8_t* moveLeft(const SortOptions& options, const Block& block, uint8_t* next) {
  const int32_t left = block.left();
  if (left > mostLeft(options)) return nullptr;
  if (left > 0) memmove(next - left, block.cursor, static_cast<size_t>(left));
  return next - left;
}

int32_t tellTooLong(SortSession& session, const InputRun& run) {
  return message(tooLong, run.sequence - run.sequenceBase + 1, nameOfInput(session, run));
}

// What is left at the end of text becomes a line: a final 0x1A goes to the output instead, and a line end is
// put behind what remains. An empty block when nothing remains. `next` is where blocks go, with room in
// front.
int32_t endText(SortSession& session, InputRun& run, const Block& block, uint8_t* next, const char* name) {
  if (block.limit[-1] == endOfText) {
    session.work->endsInEndOfText = true;
    --block.limit;
  }
  if (block.left() == 0) return 0;
  uint8_t* const start = moveLeft(*session.options, block, next);
  if (start == nullptr) return tellTooLong(session, run);
  next[0] = '\r';
  next[1] = '\n';
  block.cursor = start;
  block.limit = next + 2;
  message(lineEndAssumed, name);
  return 0;
}

// Drops the rest of a record at the end of a source.
void dropRest(SortSession& session, const InputRun& run, const Block& block) {
  const SortSource& source = currentSource(run);
  if (source.kind == SortSource::Kind::buffer)
    message(truncatedInBuffer, block.left(),
            static_cast<int32_t>(source.buffer - session.options->sourceBuffers) + 1);
  else
    message(truncatedRecord, block.left(), source.name);
  block.cursor = block.limit;
}

// The rest of a record at the end of a source.
int32_t endSource(SortSession& session, InputRun& run, const Block& block, uint8_t* next) {
  const SortSource& source = currentSource(run);
  if (source.kind != SortSource::Kind::buffer && !session.options->binary)
    return endText(session, run, block, next, source.name);
  dropRest(session, run, block);
  return 0;
}

int32_t openNextSource(SortSession& session, InputRun& run, bool& ended) {
  if (const int32_t failure = closeSource(session, run); failure != 0) return failure;
  ended = run.currentSource + 1 >= run.sourceCount;
  run.isOver = ended;
  if (ended) return 0;
  ++run.currentSource;
  run.sequenceBase = run.sequence;
  return openSource(session, run);
}

// The next stretch of raw input behind what is left of the block.
int32_t refill(SortSession& session, InputRun& run, const Block& block, bool& ended) {
  ended = false;
  for (;;) {
    uint8_t* const next = run.inputBuffers[run.readerBuffer ^= 1];
    if (run.currentSource >= 0 && run.sourceEnded && block.left() > 0) {
      const int32_t failure = endSource(session, run, block, next);
      if (failure != 0 || block.left() > 0) return failure;
    }
    if (run.currentSource < 0 || run.sourceEnded) {
      const int32_t failure = openNextSource(session, run, ended);
      if (failure != 0 || ended) return failure;
      block.cursor = block.limit = next;
    }
    const SortSource& source = currentSource(run);
    if (source.kind == SortSource::Kind::buffer) {
      block.cursor = source.buffer->address;
      block.limit = block.cursor + source.buffer->length;
      session.run->counters.bytesRead += source.buffer->length;
      run.sourceEnded = true;
    } else {
      uint8_t* const start = moveLeft(*session.options, block, next);
      if (start == nullptr) return tellTooLong(session, run);
      const int32_t bytes =
          source.throughService ? readThroughService(session, run, next) : ReadInputFiles(session, run, next);
      if (bytes < 0) return session.returnCode.load();
      session.run->counters.bytesRead += bytes;
      block.cursor = start;
      block.limit = next + bytes;
    }
    if (!isRunning(session)) return message(userTermination);
    if (block.left() > 0) return 0;
  }
}

// Block reader without an input exit.
int32_t GetNextI_Buf(SortSession& session, InputRun& run, bool& ended) {
  return refill(session, run, {run.cursor, run.limit}, ended);
}

// ---- The input exit. The extractor works on what it gives; the raw input for it is run.exitCursor to
// exitLimit.

bool hasSources(const InputRun& run) {
  return run.sourceCount > 0;
}

// Raw input for the exit: a whole record at least, unless the sources end. `over`: there is no more.
int32_t feedExit(SortSession& session, InputRun& run, bool& over) {
  const Block raw = {run.exitCursor, run.exitLimit};
  over = false;
  while (raw.left() < mostLeft(*session.options) && !over) {
    if (raw.left() > 0 && run.sourceEnded) {
      if (!run.exitIsIdle) return 0;
      // Nor would it take them the next time.
      dropRest(session, run, raw);
    }
    const int32_t failure = refill(session, run, raw, over);
    if (failure != 0) return failure;
  }
  return 0;
}

void traceExit(SortSession& session, const char* label, const BufferRow& from, const BufferRow& to) {
  trace(session, "%s (%p,%ld,%ld) %s (%p,%ld,%ld)\r\n", label, static_cast<void*>(from.address),
        static_cast<long>(from.length), static_cast<long>(from.used),
        " to_Lumasift=", static_cast<void*>(to.address), static_cast<long>(to.length),
        static_cast<long>(to.used));
}

// How many bytes at `rest` belong to the record whose first bytes are the piece; all of them when its end
// isn't there. Below 0 for a record that is too long.
int32_t restOfRecord(const SortOptions& options, const uint8_t* piece, int32_t pieceLength,
                     const uint8_t* rest, int32_t restLength) {
  int64_t whole;
  if (!options.binary) {
    const void* feed = memchr(rest, '\n', static_cast<size_t>(restLength));
    whole = feed != nullptr ? pieceLength + (static_cast<const uint8_t*>(feed) - rest) + 1
                            : pieceLength + restLength;
  } else if (!options.variableLength) {
    whole = options.fixedLength;
  } else {
    uint8_t head[4] = {};
    const int32_t size = options.fixedLength;
    for (int32_t at = 0; at < size && at < pieceLength + restLength; ++at)
      head[at] = at < pieceLength ? piece[at] : rest[at - pieceLength];
    uint32_t length;
    memcpy(&length, head, sizeof(length));
    const FieldType type = options.format[0].type;
    const bool excludes = type == FieldType::rlength2x || type == FieldType::rlength4x;
    // Of a length that can't be, at least the length itself, for the scanner to see.
    whole =
        pieceLength + restLength < size ? size : std::max<int64_t>(length + (excludes ? size : 0LL), size);
  }
  if (whole > mostLeft(options)) return -1;
  return static_cast<int32_t>(std::clamp<int64_t>(whole - pieceLength, 0, restLength));
}

// Joins what was left of a record, in front of the Iue, with its rest at the start of the exit's own buffer.
int32_t RejoinRecord(SortSession& session, InputRun& run, uint8_t* piece, const BufferRow& given) {
  const auto pieceLength = static_cast<int32_t>(run.exitBuffer - piece);
  const int32_t rest = restOfRecord(*session.options, piece, pieceLength, given.address, given.used);
  if (rest < 0) return tellTooLong(session, run);
  memcpy(run.exitBuffer, given.address, static_cast<size_t>(rest));
  run.cursor = piece;
  run.limit = run.exitBuffer + rest;
  run.exitRemainder = given.address + rest;
  run.exitRemainderLimit = given.address + given.used;
  return 0;
}

int32_t callInputExit(SortSession& session, InputRun& run, uint8_t* piece) {
  const auto rawLength = static_cast<int32_t>(run.exitLimit - run.exitCursor);
  BufferRow to = {run.exitBuffer, run.exitBufferSize, 0};
  BufferRow from = {rawLength > 0 || hasSources(run) ? run.exitCursor : nullptr, rawLength, 0};
  traceExit(session, "calling IUE:   from_Lumasift=", from, to);
  int32_t& result = session.work->inputExitResult;
  result = session.options->inputExit(&to, &from);
  traceExit(session, "back from IUE:   from_Lumasift=", from, to);
  if (!isRunning(session)) return message(userTermination);
  if (result == failed) return message(exitFailed);
  const int32_t room = to.address == run.exitBuffer ? run.exitBufferSize : to.length;
  if (from.used < 0 || from.used > rawLength || to.used < 0 || to.used > room) return message(badUsedBytes);
  run.exitCursor += from.used;
  run.exitIsIdle = from.used == 0 && to.used == 0;
  if (to.address == run.exitBuffer || to.used == 0) {
    run.cursor = piece;
    run.limit = run.exitBuffer + to.used;
    return 0;
  }
  if (piece != run.exitBuffer) return RejoinRecord(session, run, piece, to);
  run.cursor = to.address;
  run.limit = to.address + to.used;
  return 0;
}

// What is left when the exit has no more to give.
int32_t endExitData(SortSession& session, InputRun& run) {
  const Block block = {run.cursor, run.limit};
  if (block.left() == 0) return 0;
  if (!session.options->binary) return endText(session, run, block, run.exitBuffer, exitName);
  message(truncatedRecord, block.left(), exitName);
  block.cursor = block.limit;
  return 0;
}

// Whether the exit is still to hear of other sources than this run's.
bool othersRemain(const SortSession& session, const InputRun& run) {
  const SortWorkState& work = *session.work;
  const InputRun* const runs = work.inputRuns;
  const InputRun* const end = runs + work.inputRunCount;
  return end[-1].sources + end[-1].sourceCount != session.options->sources.end() ||
         std::any_of(runs, end, [&](const InputRun& other) { return &other != &run && !other.isOver; });
}

// Block reader with an input exit.
int32_t GetNextIue_buf(SortSession& session, InputRun& run, bool& ended) {
  ended = false;
  const Block block = {run.cursor, run.limit};
  const int32_t& result = session.work->inputExitResult;
  for (;;) {
    uint8_t* const piece = moveLeft(*session.options, block, run.exitBuffer);
    if (piece == nullptr) return tellTooLong(session, run);
    if (run.exitRemainder != run.exitRemainderLimit) {
      const BufferRow given = {run.exitRemainder, 0,
                               static_cast<int32_t>(run.exitRemainderLimit - run.exitRemainder)};
      run.exitRemainder = run.exitRemainderLimit = nullptr;
      if (piece != run.exitBuffer) return RejoinRecord(session, run, piece, given);
      run.cursor = given.address;
      run.limit = given.address + given.used;
      return 0;
    }
    block.cursor = piece;
    block.limit = run.exitBuffer;
    if (result == endOfInput || (result == noMoreCalls && !hasSources(run))) {
      const int32_t failure = endExitData(session, run);
      ended = block.left() == 0;
      return failure;
    }
    if (result == noMoreCalls) {
      if (const int32_t failure = endExitData(session, run); failure != 0 || block.left() > 0) return failure;
      run.readsBare = true;
      run.cursor = run.exitCursor;
      run.limit = run.exitLimit;
      if (run.cursor != run.limit) return 0;
      return GetNextI_Buf(session, run, ended);
    }
    bool over = !hasSources(run);
    if (hasSources(run))
      if (const int32_t failure = feedExit(session, run, over); failure != 0) return failure;
    const bool isSpent = hasSources(run) && over;
    if (isSpent && (run.exitToldEnd || othersRemain(session, run))) {
      const int32_t failure = endExitData(session, run);
      ended = block.left() == 0;
      return failure;
    }
    if (const int32_t failure = callInputExit(session, run, piece); failure != 0) return failure;
    // An exit that gives nothing at the end has nothing more to come.
    run.exitToldEnd = isSpent && run.exitIsIdle;
    if (run.cursor != run.limit && !run.exitIsIdle) return 0;
  }
}

// Keeps what the exit gave in a buffer of its own, before somebody else calls it.
int32_t SaveIUeBuf(SortSession& session, InputRun& run) {
  const auto keep = [&](uint8_t*& cursor, uint8_t*& limit, uint8_t*& storage, int32_t& capacity) -> int32_t {
    const auto bytes = static_cast<int32_t>(limit - cursor);
    if (bytes <= 0) return 0;
    if (bytes > capacity) {
      session.memory.release(storage);
      storage = static_cast<uint8_t*>(session.memory.allocateBuffer(static_cast<size_t>(bytes)));
      capacity = storage != nullptr ? bytes : 0;
      if (storage == nullptr) return noMemory(static_cast<size_t>(bytes));
    }
    memmove(storage, cursor, static_cast<size_t>(bytes));
    cursor = storage;
    limit = storage + bytes;
    return 0;
  };
  const uint8_t* const own = run.exitBuffer - frontPad(*session.options);
  const bool isOwn = run.cursor >= own && run.cursor <= run.exitBuffer + run.exitBufferSize;
  const bool isSaved =
      run.saved[0] != nullptr && run.cursor >= run.saved[0] && run.cursor <= run.saved[0] + run.savedSize[0];
  if (!isOwn && !isSaved)
    if (const int32_t failure = keep(run.cursor, run.limit, run.saved[0], run.savedSize[0]); failure != 0)
      return failure;
  const bool isRestSaved = run.saved[1] != nullptr && run.exitRemainder >= run.saved[1] &&
                           run.exitRemainder <= run.saved[1] + run.savedSize[1];
  return isRestSaved ? 0 : keep(run.exitRemainder, run.exitRemainderLimit, run.saved[1], run.savedSize[1]);
}

bool callsExitAgain(const SortOptions& options, const InputRun& run) {
  if (options.inputExit == nullptr || run.readsBare) return false;
  return options.mainFunction == MainFunction::merge ||
         (options.mainFunction == MainFunction::copy && options.outputExit != nullptr);
}

}  // namespace

const char* nameOfInput(const SortSession& session, const InputRun& run) {
  return session.options->inputExit != nullptr || run.currentSource < 0 ? "input"
                                                                        : run.sources[run.currentSource].name;
}

int32_t initInputRun(SortSession& session, InputRun& run, int32_t firstSource, int32_t sourceCount) {
  const SortOptions& options = *session.options;
  const int32_t pad = frontPad(options);
  const auto bytes = static_cast<size_t>(pad + blockRoom(session) + 16);
  run.sources = options.sources.rows + firstSource;
  run.sourceCount = sourceCount;
  run.currentSource = -1;
  run.handle = platform::noFile;
  for (uint8_t*& buffer : run.inputBuffers) {
    buffer = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
    if (buffer == nullptr) return noMemory(bytes);
    buffer += pad;
  }
  run.cursor = run.limit = run.inputBuffers[0];
  if (options.inputExit == nullptr) return 0;
  run.exitBuffer = static_cast<uint8_t*>(session.memory.allocateBuffer(bytes));
  if (run.exitBuffer == nullptr) return noMemory(bytes);
  run.exitBuffer += pad;
  run.exitBufferSize = blockRoom(session);
  run.exitCursor = run.exitLimit = run.inputBuffers[0];
  run.cursor = run.limit = run.exitBuffer;
  return 0;
}

int32_t openFirstSource(SortSession& session, InputRun& run) {
  bool ended;
  return openNextSource(session, run, ended);
}

int32_t qsxExtractRead(SortSession& session, InputRun& run, bool& ended) {
  const SortOptions& options = *session.options;
  ended = false;
  for (;;) {
    if (run.cursor != run.limit) {
      const Extracted extracted = Extract(session, run);
      if (extracted.failure != 0) return extracted.failure;
      ended = extracted.state == Extracted::hasEnded;
      if (extracted.state != Extracted::needsMore)
        return !ended && callsExitAgain(options, run) ? SaveIUeBuf(session, run) : 0;
    }
    const bool throughExit = options.inputExit != nullptr && !run.readsBare;
    const int32_t failure =
        throughExit ? GetNextIue_buf(session, run, ended) : GetNextI_Buf(session, run, ended);
    if (failure != 0 || ended) return failure;
  }
}

void freeInputRuns(SortSession& session) {
  SortWorkState& work = *session.work;
  const int32_t pad = frontPad(*session.options);
  for (int32_t index = 0; index < work.inputRunCount; ++index) {
    InputRun& run = work.inputRuns[index];
    closeSource(session, run);
    for (uint8_t*& buffer : run.inputBuffers)
      if (buffer != nullptr) session.memory.release(buffer - pad);
    if (run.exitBuffer != nullptr) session.memory.release(run.exitBuffer - pad);
    // For copy it is a block of the output.
    if (session.options->mainFunction != MainFunction::copy) session.memory.release(run.sortBuffer.start);
    for (uint8_t* saved : run.saved) session.memory.release(saved);
    run = {};
    run.currentSource = -1;
  }
  work.inputRunCount = 0;
}

}  // namespace qrt::sort
