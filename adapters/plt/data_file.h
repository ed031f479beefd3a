// The bytes of a sequential or relative file: a header of 128 bytes and what the organization puts behind it.
// One writer at a time changes them; readers, in this process and others, always see whole records, and a
// writer that is killed leaves each record as it was or as it was to be.
//
// Both promises rest on the header, which every user of the file has mapped. `sequence` is odd while bytes of
// records change, so a reader that finds it even and the same ahead of and behind its read has seen no change
// in progress. The system may stop a write that is killed only between two pages, so what lies in one page
// changes whole; for more than that an image of the new bytes is put aside first, and stands for them until
// they are in place.
#pragma once

#include "record_file.h"
#include "storage.h"

namespace qrt::plt {

// An offset in the header. It changes in one piece, also for one who is killed.
using FileOffset [[gnu::aligned(8)]] = uint64_t;

struct FileHeader {
  char magic[8];          //   0
  uint16_t version;       //   8
  uint8_t organization;   //  10: QRT_ORGANIZATION_*
  uint8_t recordFormat;   //  11: QRT_RECORD_*
  uint32_t maxRecord;     //  12: bytes
  uint32_t minRecord;     //  16: bytes; maxRecord for fixed records
  uint32_t sequence;      //  20: counts changes of records, two for each; odd while one is in progress
  FileOffset recordsEnd;  //  24: where the records end, when something lies behind them; 0 for the file's end
  FileOffset knownEnd;    //  32: a place where a record ends, set at the last CLOSE; 0 for none
  FileOffset imageTarget;  //  40: offset of the bytes that the image stands for
  FileOffset imagePlace;   //  48: offset of the image
  uint32_t imageLength;    //  56: bytes of it; 0 for no image
  uint8_t reserved60[68];
};
static_assert(sizeof(FileHeader) == 128);

// A part of the file in memory.
struct Window {
  uint64_t offset;     // in the file
  uint32_t length;     // bytes that are here
  uint32_t sequence;   // of the header as these bytes were read
  uint32_t ahead;      // bytes of the last read of the file; of the next one twice that when it goes on there
  uint32_t leastRead;  // bytes that each read asks for
  uint32_t capacity;
  uint8_t* bytes;
};

struct DataFile {
  int descriptor;
  FileHeader* header;     // mapped; for reading only when the file was opened INPUT
  uint32_t deadSequence;  // an odd sequence that a killed writer has left, 0 for none
  Window window;
};

// Words of the header, in the order in which every process is to see them.
inline uint32_t load(const uint32_t& word) {
  return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}
inline void store(uint32_t& word, uint32_t value) {
  __atomic_store_n(&word, value, __ATOMIC_RELEASE);
}
inline uint64_t load(const FileOffset& offset) {
  return __atomic_load_n(&offset, __ATOMIC_ACQUIRE);
}
inline void store(FileOffset& offset, uint64_t value) {
  __atomic_store_n(&offset, value, __ATOMIC_RELEASE);
}

// What a file must be like that the description fits.
FileHeader headerFor(const QrtFileDescription& description);

// Sizes of what an open file needs in memory.
struct BlockSizes {
  uint32_t state;        // bytes of the organization's state, which starts with a DataFile
  uint32_t leastWindow;  // bytes that have to fit in the window
  uint32_t behind;       // bytes behind the window's storage, for the organization's own use
};

// Opens, locks, checks and where the mode says so makes the file; a writer also completes what a killed one
// has left. The block of the open file, state, window and what is behind it, hangs in adapterBlock1.
// Statuses: 0; 5 for an OPTIONAL file that wasn't there, with QRT_FCB_ABSENT when it isn't now; 30, 34, 35,
// 37, 39, 61. A failed OPEN, and one that finds no file, leaves no block.
Outcome openDataFile(const Statement& statement, OpenMode mode, const BlockSizes& sizes);

// Releases what the block of an open file holds, and for an OPEN that fails late the block too.
void closeDataFile(DataFile& data);
void abandon(const Statement& statement);

// --- Reading
// ------------------------------------------------------------------------------------------------

// Bytes of the file from an offset on.
struct View {
  const uint8_t* bytes;
  uint32_t length;      // what the file has of the bytes that were asked for, or more
  int systemError = 0;  // of a failed read, then no bytes
};

// Reads the window anew from `offset` on, `size` bytes at least if the file has them, and more when it goes
// on where the window ended.
View refill(DataFile& data, uint64_t offset, uint32_t size);

// The bytes may be older than the last change, though never older than the window's last read.
inline View viewAt(DataFile& data, uint64_t offset, uint32_t size) {
  const Window& window = data.window;
  const uint64_t skipped = offset - window.offset;  // huge for one ahead of the window
  if (skipped <= window.length && window.length - skipped >= size)
    return {window.bytes + skipped, window.length - static_cast<uint32_t>(skipped)};
  return refill(data, offset, size);
}

// The bytes are those of this moment.
inline View currentViewAt(DataFile& data, uint64_t offset, uint32_t size) {
  const bool current = load(data.header->sequence) == data.window.sequence;
  return current ? viewAt(data, offset, size) : refill(data, offset, size);
}

// --- Changing, for the writer
// ---------------------------------------------------------------------------------

// While one lives, records change.
class Change {
 public:
  explicit Change(DataFile& data);
  ~Change();
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

 private:
  DataFile& data_;
};

// Writes bytes that no reader takes for a record yet, or that lie in one page; false with errno. The window
// follows.
bool put(DataFile& data, const void* bytes, uint32_t size, uint64_t offset);

// Replaces bytes of the file as a whole. `imagePlace` is where an image of them may be put aside. False with
// errno when the old bytes are still there, or with the image in place of bytes that couldn't be written.
bool replace(DataFile& data, const void* bytes, uint32_t size, uint64_t offset, uint64_t imagePlace);

bool liesInOnePage(uint64_t offset, uint32_t size);

}  // namespace qrt::plt
