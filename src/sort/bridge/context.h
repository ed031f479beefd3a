// One run of SORT or MERGE: what the statement hands to the engine, and what its parts share meanwhile.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "qrtrlib.h"
#include "sort/engine/file_service.h"
#include "sort/engine/options.h"

namespace qrt::sort::bridge {

// Numbers of failures; smaller ones are the engine's return codes.
enum Failure : int32_t {
  none = 0,
  endedFromOutside = 77,
  unknownFunction = 501,
  badRecordForm,
  badRecordLengths,
  badFixedKeyLength,
  unknownKeyType,
  badKeyCount,
  badKeyLength,
  keyBeyondRecord,
  badKeyOrder,
  keysOverlap,
  noKey,
  noInput,
  noOutput,
  inputGivenTwice,
  outputGivenTwice,
  inputBufferIncomplete,
  outputBufferIncomplete,
  inputNotOpened,
  outputNotOpened,
  keyTypeNotForText = 521,
  inputLengths,
  outputLengths,
  temporaryDirectoryNeeded,
  temporaryDirectoryMissing,
  noSortActive,
  noMemoryForContext,
  noMemoryForPadding,
  noMemoryForScan,
  noMemoryForTable,
  noMemoryForFile,
  padCopyFailed = 600,     // plus the engine's return code
  outputCopyFailed = 800,  // plus the engine's return code
};

// One side of an engine run: files, or a work file and a buffer.
struct Endpoint {
  const char* fileName = nullptr;
  int32_t bufferLength = 0;
  uint8_t* buffer = nullptr;
  int32_t fileCount = 0;
  QrtFcb** files = nullptr;
};

// How records travel between the engine and the file service.
enum class RecordKind : uint8_t { unset, fixed, prefixed, line };

struct FileEntry {
  bool callers = false;      // a file of the program, not of this room
  bool deleteAtEnd = false;  // a temporary file that exists
  QrtFcb* file = nullptr;
  uint32_t relativeCounter = 0;  // last record number of a relative file
};

// Tables of files; the output side has room for the pseudo output.
struct FileTable {
  FileEntry* entries = nullptr;
  int32_t count = 0;
};

// What linesequentialscan and binaryvlrpad keep between their calls.
struct ExitState {
  uint8_t* buffer = nullptr;
  uint8_t scanState = 0;
  int32_t column = 0;
  int32_t recordLength = 0;  // longest record of the file that is scanned
  int32_t targetLength = 0;
  bool holdsEndOfText = false;  // a 0x1A that is data if anything follows
  int32_t pendingLength = -1;   // of the record whose length has been taken, -1 for none
};

// What a statement passes.
struct Request {
  int32_t function;
  QrtSortRecordSpec record;
  const QrtSortKeyList* keys;
  const uint8_t* collatingTable;
  std::string_view controlFile;
  Endpoint input, output;
  const char* temporaryDirectory;
  QrtProgramEntry* program;
};

struct Context {
  Request request;
  bool inEngine = false;
  bool ended = false;  // from outside, while the engine ran
  bool primaryPass = false;
  RecordKind inputKind = RecordKind::unset, outputKind = RecordKind::unset;
  ExitState exit;
  FileService service{};
  // Where file 0 of the engine's run lies in the tables.
  int32_t inputBase = 0, outputBase = 0;
  FileTable inputs, outputs;
  FileEntry padded;  // the copy of an input that is being made
  bool trace = false;
  const QrtRunUnitRecord* owner = nullptr;
  Context* outer = nullptr;  // a sort that was ended from inside of its own file routine, and isn't back yet
};

// The sort in progress; null for none. There is one in a process.
extern Context* current;

// Runs the request. Returns the number of the failure, none for success.
int32_t run(const Request& request);

// Ends the sort in progress, also from inside of it. False when there is none.
bool cleanUp();

bool isTracing();

// ---- Keys

// National keys become unsigned shorts, one for each character, in the list itself. False without memory: the
// list is then as it was.
bool rewriteNationalKeys(QrtSortKeyList& keys);

// The first thing that is wrong with the keys, or none.
int32_t checkKeys(const QrtSortKeyList& keys, const QrtSortRecordSpec& record, bool textInput);

// ---- Files

constexpr uint8_t organizationOf(const QrtFcb& file) {
  return file.description->organization & 0x7F;
}

constexpr bool isLineSequential(const QrtFcb& file) {
  return organizationOf(file) == QRT_ORGANIZATION_LINE_SEQUENTIAL;
}

constexpr bool isFixed(const QrtFcb& file) {
  return (file.description->recordFormat & QRT_RECORD_FIXED) != 0;
}

// The organization as the option text names it.
std::string_view organizationWord(const FileEntry& entry);

// The name in use, or the assignment.
std::string_view nameOf(const QrtFcb& file);

// OPEN and CLOSE of a file of the program; false with another status than success.
bool openFile(QrtProgramEntry* program, QrtFcb& file, uint16_t mode);
bool closeFile(QrtProgramEntry* program, QrtFcb& file, bool primaryInput);

// Creates or empties the file; false with another status than success.
bool emptyFile(QrtProgramEntry* program, QrtFcb& file);

// A file of this room's own in the temporary directory, with the record form of the SD; none or a failure.
int32_t makeTemporaryFile(const Context& context, FileEntry& entry, int32_t index, uint8_t organization);
void freeTables(Context& context);

// Deletes the files that the run made or was handed at once; their blocks stay.
void deleteTemporaryFiles(Context& context);

// The service for engine runs of the context, from now to their end.
void offerFiles(Context& context);
void withdrawFiles();

// ---- Exits of the engine, over the current context's ExitState

// Text lines, each filled to the target length: `linesequentialscan` in the trace.
int32_t lineSequentialScan(BufferRow* to, BufferRow* from);

// Records behind their length, filled to the target length and without it: `binaryvlrpad`.
int32_t binaryPad(BufferRow* to, BufferRow* from);

constexpr int32_t scanBufferSize = 4096, padBufferSize = 69632;

}  // namespace qrt::sort::bridge
