// The engine runs of one SORT or MERGE: the checks ahead of them, copies that pad inputs, the primary run,
// and copies to further outputs.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <utility>

#include "platform/file_state.h"
#include "sort/bridge/context.h"
#include "sort/bridge/option_text.h"
#include "sort/engine/lumasift.h"
#include "sort/engine/session.h"

namespace qrt::sort::bridge {

Context* current;

namespace {

constexpr int32_t noTemporarySpace = 40;    // a return code of the engine
constexpr int32_t longestPlainLine = 4096;  // of text that comes without a length

// A list of one buffer, as the engine takes it; empty for a null address.
struct BufferList {
  BufferRow rows[2];

  BufferList(uint8_t* address, int32_t length) : rows{{address, length, 0}, {nullptr, 0, 0}} {}
  BufferRow* orNull() { return rows[0].address != nullptr ? rows : nullptr; }
};

bool isUsing(const Context& context, const QrtFcb* file) {
  const Endpoint& input = context.request.input;
  return std::find(input.files, input.files + input.fileCount, file) != input.files + input.fileCount;
}

bool makeTable(FileTable& table, int32_t room) {
  table.entries = static_cast<FileEntry*>(_qrtCheckMalloc(static_cast<uint32_t>(room) * sizeof(FileEntry)));
  for (int32_t index = 0; table.entries != nullptr && index < room; ++index)
    new (&table.entries[index]) FileEntry{};
  return table.entries != nullptr;
}

uint32_t lengthOf(int32_t length) {
  return static_cast<uint32_t>(length);
}

// ---- Trace

void traceStart(const Context& context) {
  if (!context.trace) return;
  const Request& request = context.request;
  printf("*** sortmerge trace (version %s) ***\n", "2.1");
  printf("function=%s\n", request.function == QRT_MERGE_START ? "MERGE" : "SORT");
  printf("SD minreclen=%d maxreclen=%d", static_cast<int>(request.record.minLength),
         static_cast<int>(request.record.maxLength));
  printf(" type=%s\n", request.record.form == QRT_SORT_FIXED ? "FIXED" : "VARIABLE");
}

void traceParameters(const Context& context, const Text& text) {
  if (context.trace) printf("Lumasift parameters=%s\n", text.terminated());
}

// ---- Checks

int32_t checkEndpoints(const Request& request) {
  const Endpoint &in = request.input, &out = request.output;
  const auto isMissing = [](const Endpoint& side) {
    return side.fileCount == 0 && side.fileName == nullptr && side.buffer == nullptr &&
           side.bufferLength == 0;
  };
  const auto isDouble = [](const Endpoint& side) {
    return side.fileCount != 0 &&
           (side.fileName != nullptr || side.buffer != nullptr || side.bufferLength != 0);
  };
  const auto isHalf = [](const Endpoint& side) {
    return (side.buffer != nullptr) != (side.bufferLength != 0);
  };
  if (isMissing(in)) return noInput;
  if (isMissing(out)) return noOutput;
  if (isDouble(in)) return inputGivenTwice;
  if (isDouble(out)) return outputGivenTwice;
  if (isHalf(in)) return inputBufferIncomplete;
  return isHalf(out) ? outputBufferIncomplete : none;
}

int32_t checkRecord(const QrtSortRecordSpec& record) {
  if (record.form != QRT_SORT_FIXED && record.form != QRT_SORT_VARIABLE) return badRecordForm;
  const bool bad = record.maxLength < record.minLength || record.maxLength <= 0 ||
                   (record.form == QRT_SORT_FIXED && record.maxLength != record.minLength);
  return bad ? badRecordLengths : none;
}

// Whether short records of the file must be filled up before they can be sorted.
bool isShort(const Context& context, const QrtFcb& file) {
  const QrtSortRecordSpec& record = context.request.record;
  return record.form == QRT_SORT_FIXED && file.description->minRecord < lengthOf(record.minLength);
}

int32_t checkInput(Context& context, QrtFcb* file) {
  const QrtSortRecordSpec& record = context.request.record;
  QrtProgramEntry* const program = context.request.program;
  if (!openFile(program, *file, QRT_OPEN_INPUT) || !closeFile(program, *file, true)) return inputNotOpened;
  context.inputs.entries[context.inputs.count++] = {.callers = true, .file = file};
  const QrtFileDescription& description = *file->description;
  if (description.maxRecord > lengthOf(record.maxLength) || description.maxRecord < description.minRecord ||
      (record.form == QRT_SORT_VARIABLE && description.minRecord < lengthOf(record.minLength)))
    return inputLengths;
  const bool pad = isShort(context, *file) || (record.form == QRT_SORT_FIXED && isLineSequential(*file));
  return pad && context.request.temporaryDirectory == nullptr ? temporaryDirectoryNeeded : none;
}

// A file whose records the primary run can't write.
bool needsCopy(const Context& context, const QrtFcb& file) {
  return (context.request.record.form == QRT_SORT_VARIABLE && isFixed(file)) || isUsing(context, &file);
}

int32_t checkOutput(Context& context, QrtFcb* file) {
  const QrtSortRecordSpec& record = context.request.record;
  if (!isUsing(context, file) && !emptyFile(context.request.program, *file)) return outputNotOpened;
  context.outputs.entries[context.outputs.count++] = {.callers = true, .file = file};
  const QrtFileDescription& description = *file->description;
  if (description.maxRecord < description.minRecord || (isFixed(*file) && record.form == QRT_SORT_VARIABLE &&
                                                        description.maxRecord < lengthOf(record.maxLength)))
    return outputLengths;
  const bool copy = needsCopy(context, *file);
  return copy && context.request.temporaryDirectory == nullptr ? temporaryDirectoryNeeded : none;
}

int32_t checkFiles(Context& context) {
  const Request& request = context.request;
  if (request.input.fileCount > 0 && !makeTable(context.inputs, request.input.fileCount))
    return noMemoryForTable;
  for (int32_t index = 0; index < request.input.fileCount; ++index)
    if (const int32_t failure = checkInput(context, request.input.files[index]); failure != none)
      return failure;
  if (request.output.fileCount > 0 && !makeTable(context.outputs, request.output.fileCount + 1)) {
    if (context.trace) printf("Lumasift rcxxxx=%d KOOOOOOOOOOOOO!!\n", noMemoryForTable);
    return noMemoryForTable;
  }
  for (int32_t index = 0; index < request.output.fileCount; ++index)
    if (const int32_t failure = checkOutput(context, request.output.files[index]); failure != none)
      return failure;
  if (request.temporaryDirectory != nullptr && !platform::directoryExists(request.temporaryDirectory))
    return temporaryDirectoryMissing;
  return none;
}

bool hasTextInput(const Context& context) {
  for (int32_t index = 0; index < context.inputs.count; ++index)
    if (isLineSequential(*context.inputs.entries[index].file)) return true;
  return false;
}

// ---- Engine calls

int32_t callEngine(Context& context, const Text& text, BufferRow* sources, BufferRow* targets, UserExit input,
                   UserExit output) {
  context.inEngine = true;
  offerFiles(context);
  const int32_t code = Lumasift_Lite(text.terminated(), sources, targets, input, output,
                                     context.request.collatingTable, nullptr, nullptr);
  withdrawFiles();
  context.inEngine = false;
  if (context.trace) printf("Lumasift lite rc=%d\n--> Done\n", static_cast<int>(code));
  return code;
}

// The buffer of a copy's exit; kept from copy to copy of one kind.
bool prepareExit(ExitState& exit, int32_t bufferSize, int32_t recordLength, int32_t targetLength) {
  _qrtCheckFree(exit.buffer);
  exit = {.buffer = static_cast<uint8_t*>(_qrtCheckMalloc(lengthOf(bufferSize))),
          .recordLength = recordLength,
          .targetLength = targetLength};
  return exit.buffer != nullptr;
}

int32_t padCopy(Context& context, int32_t index) {
  FileEntry& entry = context.inputs.entries[index];
  const QrtFcb& file = *entry.file;
  const auto maxLength = static_cast<int32_t>(file.description->maxRecord);
  const int32_t target = context.request.record.minLength;
  FileEntry& padded = context.padded;
  if (const int32_t failure = makeTemporaryFile(context, padded, index, QRT_ORGANIZATION_SEQUENTIAL);
      failure != none)
    return failure;

  const bool fixed = isFixed(file);
  Text text;
  text << " -s copy -x notrap -o ";
  addName(text, nameOf(*padded.file)) << " -x 'outorg byte_stream'";
  addOrganizations(text, "inorg", &entry, 1);
  text << "  -x 'format" << (fixed ? "" : " rlength4");
  addBinFields(text, maxLength);
  text << "'";
  if (fixed) addFitted(text, 1, maxLength, target, "");
  addTraceOptions(text, context.trace);
  addName(text << " ", nameOf(file));
  context.inputKind = context.outputKind = fixed ? RecordKind::fixed : RecordKind::prefixed;
  context.inputBase = index;

  int32_t failure = none;
  if (text.failed() || (!fixed && !prepareExit(context.exit, padBufferSize, maxLength, target)))
    failure = noMemoryForPadding;
  if (failure == none) {
    if (context.trace) printf("--> Pad copy \nfile=%d\n", static_cast<int>(index));
    traceParameters(context, text);
    if (context.trace) printf("outputexit=%s\n", fixed ? "NULL" : "binaryvlrpad");
    const int32_t code = callEngine(context, text, nullptr, nullptr, nullptr, fixed ? nullptr : binaryPad);
    if (code > 0) failure = code == noTemporarySpace ? code : padCopyFailed + code;
  }
  context.inputBase = 0;
  entry = std::exchange(padded, {});
  return failure;
}

int32_t padCopies(Context& context) {
  if (context.request.record.form != QRT_SORT_FIXED || hasTextInput(context)) return none;
  for (int32_t index = 0; index < context.inputs.count; ++index)
    if (isShort(context, *context.inputs.entries[index].file))
      if (const int32_t failure = padCopy(context, index); failure != none) return failure;
  return none;
}

// Has the primary run write a temporary file, in the place of the first output, when one can't be written
// yet.
int32_t addPseudoOutput(Context& context, bool& pseudo) {
  FileTable& outputs = context.outputs;
  for (int32_t index = 0; index < outputs.count; ++index)
    pseudo |= needsCopy(context, *outputs.entries[index].file);
  if (!pseudo) return none;
  const uint8_t organization =
      hasTextInput(context) ? QRT_ORGANIZATION_LINE_SEQUENTIAL : QRT_ORGANIZATION_SEQUENTIAL;
  // Numbered behind the padded inputs, which lie in the same directory.
  if (const int32_t failure = makeTemporaryFile(context, outputs.entries[outputs.count],
                                                context.inputs.count + outputs.count, organization);
      failure != none)
    return failure;
  std::swap(outputs.entries[0], outputs.entries[outputs.count++]);
  return none;
}

int32_t primaryRun(Context& context, bool textInput, bool pseudo) {
  const Request& request = context.request;
  Text text;
  text << (request.function == QRT_MERGE_START ? " -s merge" : " -s sort");
  if (request.function != QRT_MERGE_START && request.temporaryDirectory != nullptr)
    addName(text << " -T ", request.temporaryDirectory);
  if (context.outputs.count > 0) {
    addName(text << " -o ", nameOf(*context.outputs.entries[0].file));
    addOrganizations(text, "outorg", context.outputs.entries, 1);
  } else if (request.output.fileName != nullptr) {
    addName(text << " -o ", request.output.fileName);
  }
  if (context.inputs.count > 0) addOrganizations(text, "inorg", context.inputs.entries, context.inputs.count);
  if (request.collatingTable != nullptr && !request.controlFile.empty())
    addName(text << " -p ", request.controlFile);
  text << " -x notrap";
  context.inputKind = request.record.form == QRT_SORT_VARIABLE ? RecordKind::prefixed : RecordKind::fixed;
  context.outputKind = addPrimaryReformat(text, context, textInput);
  if (!addFormatAndKeys(text, *request.keys, request.record)) return noMemoryForTable;
  addTraceOptions(text, context.trace);
  for (int32_t index = 0; index < context.inputs.count; ++index)
    addName(text << " ", nameOf(*context.inputs.entries[index].file));
  if (request.input.fileName != nullptr) addName(text << " ", request.input.fileName);
  if (text.failed()) return noMemoryForTable;

  if (context.trace) printf("--> Primary %s\n", request.function == QRT_MERGE_START ? "MERGE" : "SORT");
  traceParameters(context, text);
  if (context.trace) printf("outputformat=%s\n", pseudo ? "PSEUDO" : "NORMAL");
  BufferList sources(request.input.buffer, request.input.bufferLength);
  BufferList targets(request.output.buffer, request.output.bufferLength);
  return callEngine(context, text, sources.orNull(), targets.orNull(), nullptr, nullptr);
}

int32_t outputCopy(Context& context, int32_t index) {
  const FileEntry &from = context.outputs.entries[0], &to = context.outputs.entries[index];
  const QrtFcb &source = *from.file, &target = *to.file;
  const QrtSortRecordSpec& record = context.request.record;
  if (isUsing(context, to.file) && !emptyFile(context.request.program, *to.file)) return outputNotOpened;

  const auto sourceLength = static_cast<int32_t>(source.description->maxRecord);
  const auto targetLength = static_cast<int32_t>(target.description->maxRecord);
  const Copy copy = copyOf(source, target, record);
  const bool prefixed = !isLineSequential(source) && !isFixed(source) && copy.exit != CopyExit::pad;
  Text text;
  text << " -s copy -o ";
  addName(text, nameOf(target));
  if (isLineSequential(source)) {
    context.inputKind = RecordKind::line;
    const int32_t longest = std::max(sourceLength, targetLength) + 1;  // a carriage return counts
    if (longest > longestPlainLine) text << " -z " << longest;
  } else {
    context.inputKind = prefixed ? RecordKind::prefixed : RecordKind::fixed;
    text << " -x 'format" << (prefixed ? " rlength4" : "");
    addBinFields(text, record.form == QRT_SORT_VARIABLE && isFixed(target) ? targetLength : sourceLength);
    text << "'";
  }
  addCopyReformat(text, source, target, record, prefixed ? 2 : 1);
  addOrganizations(text, "outorg", &to, 1);
  addOrganizations(text, "inorg", &from, 1);
  addTraceOptions(text, context.trace);
  addName(text << " ", nameOf(source));
  context.outputKind = copy.outputKind;
  context.outputBase = index;
  if (text.failed()) return noMemoryForTable;

  UserExit exit = nullptr;
  const char* exitName = "NULL";
  if (copy.exit == CopyExit::scan) {
    if (!prepareExit(context.exit, scanBufferSize, sourceLength, targetLength)) return noMemoryForScan;
    exit = lineSequentialScan;
    exitName = "linesequentialscan";
  } else if (copy.exit == CopyExit::pad) {
    if (!prepareExit(context.exit, padBufferSize, sourceLength, targetLength)) return noMemoryForPadding;
    exit = binaryPad;
    exitName = "binaryvlrpad";
  }
  if (context.trace) printf("--> Multiple Output\n");
  traceParameters(context, text);
  if (context.trace) printf("inputexit=%s\n", exitName);
  const int32_t code = callEngine(context, text, nullptr, nullptr, exit, nullptr);
  return code > 0 ? outputCopyFailed + code : none;
}

int32_t runs(Context& context) {
  const Request& request = context.request;
  if (request.function != QRT_SORT_START && request.function != QRT_MERGE_START) return unknownFunction;
  int32_t failure = checkEndpoints(request);
  if (failure == none) failure = checkRecord(request.record);
  if (failure == none) failure = checkFiles(context);
  const bool textInput = hasTextInput(context);
  bool pseudo = false;
  context.primaryPass = true;
  if (failure == none) failure = padCopies(context);
  if (failure == none) failure = addPseudoOutput(context, pseudo);
  if (failure == none) failure = checkKeys(*request.keys, request.record, textInput);
  if (failure == none && context.ended) failure = endedFromOutside;
  if (failure == none) failure = primaryRun(context, textInput, pseudo);
  context.primaryPass = false;
  for (int32_t index = 1; failure == none && index < context.outputs.count; ++index)
    failure = context.ended ? endedFromOutside : outputCopy(context, index);
  return failure;
}

}  // namespace

bool isTracing() {
  const char* trace = getenv("COB_SORT_TRACE");
  return trace != nullptr && *trace != 0;
}

int32_t run(const Request& request) {
  void* block = _qrtCheckMalloc(sizeof(Context));
  if (block == nullptr) return noMemoryForContext;
  Context& context = *new (block) Context{};
  context.request = request;
  context.trace = isTracing();
  context.owner = _qrtRuncom;
  context.outer = current;
  current = &context;
  traceStart(context);
  int32_t failure = runs(context);
  if (context.ended) failure = endedFromOutside;
  if (context.trace)
    printf(failure == none ? "Lumasift return to caller with rc=%d\n"
                           : "Returned from Lumasift_Lite with rc=%d\n",
           static_cast<int>(failure));
  current = context.outer;
  deleteTemporaryFiles(context);
  freeTables(context);
  _qrtCheckFree(context.exit.buffer);
  _qrtCheckFree(block);
  return failure;
}

bool cleanUp() {
  if (isTracing()) printf("*** sortmerge trace (version %s) ***\nfunction=CLEANUP\n", "2.1");
  if (current == nullptr) return false;
  current->ended = true;
  if (current->inEngine) {
    endSessions(endedFromOutside, nullptr);
    // The run unit may end here, and the engine never come back.
    forEachSession(
        [](SortSession* session, void*) {
          if (session->run->removeFiles != nullptr) session->run->removeFiles(*session);
        },
        nullptr);
  }
  deleteTemporaryFiles(*current);
  return true;
}

}  // namespace qrt::sort::bridge
