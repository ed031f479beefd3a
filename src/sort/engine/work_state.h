// What one run of the engine works with: the sizes of its buffers, input runs, sorted runs and their files,
// and the functions that its phases are made of.
#pragma once

#include <stdint.h>

#include "platform/word_pipe.h"
#include "platform/workers.h"
#include "sort/engine/entry.h"
#include "sort/engine/in_memory_sort.h"
#include "sort/engine/loser_tree.h"
#include "sort/engine/options.h"
#include "sort/engine/session.h"

namespace qrt::sort {

// Sizes in bytes unless noted. `MemManageInit` works them out once, before any buffer exists.
struct MemorySizes {
  int32_t t1;               // limit for buffers
  int32_t t2;               // limit for the whole run
  int32_t blockSize;        // M: the largest block of an intermediate file, unless one entry is longer
  int32_t bufferCount;      // B: buffers, not bytes
  int32_t entryBound;       // E: most space that one record can need as an entry
  int32_t keyFactor;        // F: space that a record's length costs at worst, as a multiple of that length
  int32_t entryOverhead;    // H: space that a record costs at worst apart from its length
  int32_t inputBuffer;      // I: one I_buf
  int32_t sortBuffer;       // Z: one S_buf, and one writer buffer
  int32_t midBlock;         // Y: smallest read buffer that holds every block of a run; it only grows
  int32_t outputBuffer;     // O: one O_buf
  int32_t residentBuffers;  // R: runs, not bytes, that may stay in memory
};

// An S_buf. Entries grow upward from `start`, each four-byte aligned; for main function sort the offsets of
// their keys from `start` are pushed downward from `tableTop`. A record is taken in only while limit - cursor
// is at least keyFactor x its length + entryOverhead. For copy it is the output block, and takes bare
// records.
struct SortBuffer {
  uint8_t* start;
  uint8_t* cursor;     // behind the last entry
  uint8_t* limit;      // the lowest row of the offset table, or the buffer's end
  uint32_t* tableTop;  // behind the first row of the table; null when no table is kept

  void push(uint32_t offset) {
    limit -= sizeof offset;
    *reinterpret_cast<uint32_t*>(limit) = offset;
  }
  // The table, newest record first until it is sorted.
  std::span<uint32_t> table() const {
    return tableTop == nullptr ? std::span<uint32_t>()
                               : std::span<uint32_t>(reinterpret_cast<uint32_t*>(limit), tableTop);
  }
};

// The input of one merge source, or of a sort, copy or check with all its sources.
struct InputRun {
  int32_t sourceCount;
  SortSource* sources;
  int32_t currentSource;     // -1 before the first one
  bool sourceEnded;          // the current one
  int32_t handle;            // of the current source's file, -1 for none
  int32_t readerBuffer;      // which of the two was read into last
  uint8_t* inputBuffers[2];  // behind their front pads
  SortBuffer sortBuffer;
  uint8_t* cursor;  // of the current block
  uint8_t* limit;
  uint8_t* exitCursor;  // of the raw input that goes to the exit
  uint8_t* exitLimit;
  uint8_t* exitBuffer;  // Iue
  int32_t exitBufferSize;
  uint8_t* exitRemainder;
  uint8_t* exitRemainderLimit;
  uint8_t* saved[2];  // copies of what lay in a buffer of the exit's, and of the remainder
  int32_t savedSize[2];
  bool exitIsIdle;       // it neither took nor gave anything
  bool exitToldEnd;      // at the end of all sources
  bool readsBare;        // it wants no more calls
  bool serviceOpen;      // the current source, in the file service
  bool isOver;           // no source is left
  int64_t sequence;      // of the next record
  int64_t sequenceBase;  // at the start of the current source
  int32_t sourceNumber;  // in the keys of a merge
};

// A sorted run. The first word of the block index, where it is 0, ends it.
struct SortRun {
  int32_t file;  // handle, -1 while the run's file isn't open
  uint8_t* readBuffers[2];
  platform::WordPipe<4>* answers;  // of the reader: 0 for each stretch that has been read
  int32_t readerBuffer;            // which of the two buffers each side uses next
  int32_t consumerBuffer;
  uint32_t* blocks;  // bytes of each block, ended by 0
  const uint32_t* readerBlock;
  const uint32_t* consumerBlock;
  uint8_t* memory;  // the run, for one that is held in memory
  uint8_t* memoryEnd;
  int32_t blockRows;    // room in the block index, the end included
  int32_t blocksInUse;  // of a run that a merge writes: blocks so far, the current one included
};

// A stretch of whole entries.
struct EntryRange {
  const uint8_t* first;
  const uint8_t* end;
};

// Room in an output block.
struct OutputRange {
  uint8_t* cursor;
  uint8_t* limit;
};

// The phase functions return 0 or the code of a failure, and what is noted.
//
// Gives the next block of an input run, and whether it was the last.
using BlockReader = int32_t (*)(SortSession& session, InputRun& run, bool& ended);
// Gives the run's next stretch of whole entries.
using NextBlock = int32_t (*)(SortSession& session, int32_t run, EntryRange& block, bool& isLast);
// Delivers one entry; `previous` is the one before it, or null. 1: message 2 was given; 2: no more is wanted.
using Restore = int32_t (*)(SortSession& session, const SortEntry* entry, const SortEntry* previous,
                            OutputRange& output);
// Hands over a full output block and sets the range to a fresh one. 2: no more is wanted.
using BlockWriter = int32_t (*)(SortSession& session, OutputRange& output, bool isFinal);

inline constexpr int32_t endOfOutput = 2;
inline constexpr int32_t equalKeys = 1;

// Words that end a worker.
inline constexpr int32_t stopWorker = -1;

// What the main thread and a worker share besides buffers.
struct MidWriterState {
  platform::WordPipe<4> lengths;  // to the writer: write that much from the next buffer
  platform::WordPipe<4> answers;  // from it: 0 when a buffer is free
  platform::Worker worker;
  uint8_t* buffers[2];
  int32_t nextBuffer;  // the main thread's
  int32_t fileNumber;  // first and next file; behind the writer's end the count of finished runs
  bool running;
};

struct MidReaderState {
  platform::WordPipe<1024> requests;  // run numbers, at most two for each run of a merge
  platform::Worker worker;
  platform::WordPipe<4>* answers;  // one for each run that lies in a file
  uint8_t* buffers;                // two for each
  int32_t stretch;                 // bytes of a read buffer: Y or this merge's larger share of memory
  int32_t fileCount;
  bool running;
};

// Reads, checks and builds records; see records.h and extract.h.
struct RecordState;
// The output and its blocks; see output.h.
struct OutputState;

// A place of a sum field in a reformatted record.
struct SumUse {
  int32_t sum;     // its number among the sum fields
  int32_t offset;  // bytes from the record's start, or below 0 from its end
};

// With "sum": the record written last, to which equal-keyed ones are added.
struct HeldRecord {
  uint8_t* record;  // in the output block; null for none
  uint32_t length;
  SumUse* uses;  // of all sum fields, in their order
  int32_t useCount;
  uint8_t* values;  // sums on their way
  bool overflowTold;
  bool shortTold;  // of short binary fields
};

struct SortWorkState {
  MemorySizes sizes;
  int64_t inputSize;  // bytes, all sources together; 0 when it isn't known
  bool inputSizeKnown;
  bool endsInEndOfText;  // a text ended in 0x1A, which the output then does

  int32_t inputExitResult;  // of its last call

  InputRun* inputRuns;
  int32_t inputRunCount;

  SortRun** runs;  // runRows of them; runCount are in use
  int32_t runRows;
  int32_t runCount;
  int32_t runLimit;         // of input runs and files
  TempDir** fileDirs;       // by file number: where the file ended up, or null; runRows of them
  TempDir* currentTempDir;  // of the ring, null when it is empty; the writer's while it runs
  SortRun* outputRun;       // that a merge writes, or null

  SortWorkArea sortArea;
  MidWriterState* writer;
  MidReaderState* reader;

  BlockReader readBlock;
  NextBlock nextBlock;
  Restore restore;
  BlockWriter writeBlock;

  uint8_t* heldEntry;  // E bytes: the previous entry, while its block is used again
  HeldRecord held;
  const SortEntry* checked;  // the previous entry of a check, or null
  int32_t checkedSource;     // that it came from

  RecordState* records;
  OutputState* output;
};

}  // namespace qrt::sort
