// Messages: built-in texts, their formatting, what an error does to its session; the trace; the totals;
// signals.
#include "sort/engine/messages.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "platform/catalogues.h"
#include "platform/files.h"
#include "platform/signals.h"

namespace qrt::sort {
namespace {

struct BuiltInText {
  int32_t number;
  const char* text;
};

constexpr BuiltInText builtInTexts[] = {
    {1, "Record number %1$d in <%2$s> is not in order"},
    {2, "Equal-keyed records detected"},
    {3, "Multiple main functions specified"},
    {4, "Error in parameter file <%1$s>"},
    {5, "Parameter file <%1$s> could not be opened"},
    {6, "Operand missing from option <%1$s>"},
    {7, "Operand missing from extended option <%1$s>"},
    {8, "Invalid operand in option <%1$s>"},
    {9, "Invalid operand in extended option <%1$s>"},
    {10, "Invalid option specified: %1$s"},
    {11, "Invalid extended option specified: %1$s"},
    {13, "Invalid file name specified: <%1$s>"},
    {17, "Syntax error in select specification"},
    {18, "Invalid constant specified in select"},
    {19, "Constant type %1$s cannot be compared to data type %2$s in select extended option"},
    {20, "Data type %1$s cannot be compared to data type %2$s in select extended option"},
    {21, "Syntax error in format specification"},
    {22, "Syntax error in reformat specification"},
    {23, "Invalid constant specified in reformat"},
    {24, "Syntax error in sum specification"},
    {25, "Flag %1$s specified multiple times"},
    {26, "Too many outputs specified"},
    {27, "No input source specified"},
    {28, "No output destination specified"},
    {30, "Sum is not allowed"},
    {31, "Record number %1$d within <%2$s> is too short"},
    {32, "Record number %1$d within <%2$s> is too long"},
    {34, "Read error on file <%1$s>, rc=%2$d"},
    {35, "Write error on file <%1$s>, rc=%2$d"},
    {36, "Cannot open input file <%1$s>, rc=%2$d"},
    {37, "Cannot open message file <%1$s>, rc=%2$d"},
    {39, "Insufficient space in target buffers"},
    {40, "Not enough temporary disk space"},
    {43, "UE_ERR returned from input exit"},
    {44, "UE_ERR returned from output exit"},
    {46, "Invalid bytes used value returned from input exit"},
    {47, "Invalid bytes used value returned from output exit"},
    {49, "Insufficient storage to continue execution"},
    {50, "Parameter file <%1$s> too large"},
    {51, "Non-matching quote"},
    {52, "Non-matching double quote"},
    {53, "Conflicting options <%1$s> and <%2$s> both specified"},
    {54, "Flength field in record %1$d of file <%2$s> is invalid"},
    {55, "Last field in record %1$d of file <%2$s> is invalid"},
    {57, "Cannot open output file <%1$s>, rc=%2$d"},
    {58, "Cannot open temporary file <%1$s>, rc=%2$d"},
    {61, "Locale %1$s is not known to the system"},
    {62, "Record number %1$d within <%2$s> contains an invalid multi-byte character"},
    {73, "Failed to malloc %1$d bytes of memory"},
    {77, "User requested termination"},
    {79, "Maximum number of temporary files reached"},
    {233, "The Lumasift option file is invalid or has been corrupted"},
    {254, "Lumasift internal error occurred, error code = %1$d"},
    {255, "System call %1$s failed with return code %2$d"},
    {256, "EOL assumed on input file <%1$s>"},
    {257, "Sum overflow occurred"},
    {258, "Total input: %1$d bytes, %2$d records"},
    {259, "Total output: %1$d bytes, %2$d records"},
    {260, "Total skipped: %1$d bytes, %2$d records"},
    {261, "Total filtered: %1$d bytes, %2$d records"},
    {262, "Total sorted: %1$d bytes, %2$d records"},
    {263, "Total copied: %1$d bytes, %2$d records"},
    {264, "Total checked: %1$d bytes, %2$d records"},
    {265, "Total merged: %1$d bytes, %2$d records"},
    {266, "Total non-unqiue: %1$d bytes, %2$d records"},
    {267, "Total summed: %1$d bytes, %2$d records"},
    {268, "Truncated record (%1$d bytes) ignored at end of file <%2$s>"},
    {269, "Truncated record (%1$d bytes) ignored at end of source buffer number %2$d"},
    {270, "One or more short binary fields were found and not summed"},
    {278, "QMC Lumasift -- pid=%1$d, sgtid=%2$d"},
};

constexpr char prefix[] = "Lumasift: 7351-%1$03d ";
constexpr char unexpectedSignal[] = "Unexpected signal trapped by Lumasift";
constexpr int32_t signalCode = 255;
constexpr int32_t internalErrorNumber = 254;

const char* textOf(const SortRunState& run, int32_t number) {
  if (run.catalogue != nullptr) {
    const char* const text = platform::findCatalogueText(
        run.catalogue, static_cast<size_t>(run.catalogueSize), static_cast<uint32_t>(number), 1);
    if (text != nullptr) return platform::textProper(text);
  }
  const auto found =
      std::lower_bound(std::begin(builtInTexts), std::end(builtInTexts), number,
                       [](const BuiltInText& row, int32_t wanted) { return row.number < wanted; });
  return found != std::end(builtInTexts) && found->number == number ? found->text : "";
}

// A text in the making, cut to its room and always terminated.
struct Line {
  char* text;
  size_t capacity;
  size_t length = 0;

  void append(const char* bytes, size_t count) {
    count = std::min(count, capacity - 1 - length);
    memcpy(text + length, bytes, count);
    text[length += count] = 0;
  }
};

// One conversion of a format: %[N$][flags][width]letter. `letter` is 0 for anything else.
struct Conversion {
  char letter = 0;
  int32_t position = 0;  // from 1; 0 for the next value
  bool leftAligned = false;
  bool zeroFilled = false;
  bool plus = false;
  int32_t width = 0;
};

int32_t takeNumber(const char*& at) {
  int32_t value = 0;
  for (; *at >= '0' && *at <= '9'; ++at) value = std::min(value * 10 + (*at - '0'), 9999);
  return value;
}

Conversion takeConversion(const char*& at) {
  Conversion conversion;
  const char* const start = at;
  if (const int32_t position = takeNumber(at); *at == '$') {
    conversion.position = position;
    ++at;
  } else {
    at = start;
  }
  for (;; ++at) {
    if (*at == '-')
      conversion.leftAligned = true;
    else if (*at == '0')
      conversion.zeroFilled = true;
    else if (*at == '+')
      conversion.plus = true;
    else if (*at != ' ' && *at != '#')
      break;
  }
  conversion.width = std::min(takeNumber(at), 99);
  while (*at == 'l' || *at == 'h') ++at;
  if (*at != 0 && strchr("diuxsc", *at) != nullptr) conversion.letter = *at++;
  return conversion;
}

void show(Line& line, const Conversion& conversion, const Insert& insert) {
  char digits[24];
  const char* text = insert.text;
  if (text == nullptr) {
    const char* const form = conversion.letter == 'x' ? "%llx" : conversion.plus ? "%+lld" : "%lld";
    snprintf(digits, sizeof(digits), form, static_cast<long long>(insert.number));
    text = digits;
  }
  size_t length = strlen(text);
  size_t width = static_cast<size_t>(conversion.width);
  const bool zeroes = conversion.zeroFilled && !conversion.leftAligned && insert.text == nullptr;
  if (zeroes && (*text == '-' || *text == '+')) {
    line.append(text++, 1);
    --length;
    width -= width > 0;
  }
  if (!conversion.leftAligned)
    for (size_t count = length; count < width; ++count) line.append(zeroes ? "0" : " ", 1);
  line.append(text, length);
  if (conversion.leftAligned)
    for (size_t count = length; count < width; ++count) line.append(" ", 1);
}

void format(Line& line, const char* pattern, const Insert* inserts, int32_t count) {
  int32_t next = 0;
  while (*pattern != 0) {
    const size_t plain = strcspn(pattern, "%");
    line.append(pattern, plain);
    pattern += plain;
    if (*pattern == 0) return;
    const char* const start = pattern++;
    const Conversion conversion = takeConversion(pattern);
    if (conversion.letter == 0) {
      pattern = start + (start[1] == '%' ? 2 : 1);
      line.append(start, 1);
      continue;
    }
    const int32_t index = conversion.position > 0 ? conversion.position - 1 : next++;
    if (index < count) show(line, conversion, inserts[index]);
  }
}

void tellCallback(SortRunState& run, const char* text) {
  if (run.errorCallback == nullptr || run.callbackTold) return;
  run.callbackTold = true;
  ErrorRecord record = {255, text, -1, 6, run.callbackContext};
  run.errorCallback(&record);
}

// Writes a line without its end to the message file.
void writeLine(SortSession& session, Line& line) {
  const SortRunState& run = *session.run;
  if (run.messageFile == platform::noFile || session.options->noMessages) return;
  if (line.length + 1 == line.capacity) --line.length;
  line.append("\n", 1);
  platform::writeFile(run.messageFile, line.text, line.length);
  line.text[--line.length] = 0;
}

// Settles what the message means to the session; false when nothing is to be said any more.
bool isDue(SortSession& session, int32_t number, int32_t returnCode) {
  pthread_mutex_lock(&session.lock);
  const bool due = isRunning(session) && !(session.returnCode != 0 && number <= firstWarning);
  if (due && number < firstWarning) {
    session.running = false;
    session.returnCode = returnCode;
  }
  pthread_mutex_unlock(&session.lock);
  return due;
}

constexpr size_t lineCapacity = 1200;  // two file names and a text

int32_t give(int32_t number, int32_t returnCode, const Insert* inserts, int32_t count) {
  SortSession* const session = sessionOfThread();
  if (session == nullptr || !isDue(*session, number, returnCode)) return returnCode;
  char text[lineCapacity] = "";
  Line line{text, sizeof(text)};
  const Insert shownNumber = number;
  format(line, prefix, &shownNumber, 1);
  format(line, textOf(*session->run, number), inserts, count);
  writeLine(*session, line);
  if (number < firstWarning) tellCallback(*session->run, text);
  return returnCode;
}

int32_t give(int32_t number, const Insert* inserts, int32_t count) {
  constexpr int32_t equalKeys = 2;
  return give(number, number == equalKeys ? 1 : number, inserts, count);
}

}  // namespace

int32_t message(int32_t number) {
  return give(number, nullptr, 0);
}

int32_t message(int32_t number, Insert first) {
  return give(number, &first, 1);
}

int32_t message(int32_t number, Insert first, Insert second) {
  const Insert inserts[] = {first, second};
  return give(number, inserts, 2);
}

int32_t internalError(int32_t code) {
  const Insert insert = code;
  return give(internalErrorNumber, code, &insert, 1);
}

int32_t noMemory(size_t bytes) {
  return message(73, static_cast<int64_t>(bytes));
}

size_t formatMessage(char* target, size_t capacity, const char* pattern, const Insert* inserts,
                     int32_t count) {
  Line line{target, capacity};
  line.append("", 0);
  format(line, pattern, inserts, count);
  return line.length;
}

void trace(SortSession& session, const char* pattern, ...) {
  const SortRunState& run = *session.run;
  if (run.traceFile == platform::noFile || session.threadId != platform::currentThreadId()) return;
  char text[2048];
  va_list values;
  va_start(values, pattern);
  const int length = vsnprintf(text, sizeof(text), pattern, values);
  va_end(values);
  platform::writeFile(run.traceFile, text, std::min<size_t>(static_cast<size_t>(length), sizeof(text) - 1));
}

TracedCall::TracedCall(SortSession& session, const char* name) : session(session) {
  if (session.run->traceFile == platform::noFile || session.threadId != platform::currentThreadId()) return;
  trace(session, "%*s---( %s\n", 4 * session.run->traceDepth, "", name);
  ++session.run->traceDepth;
  entered = true;
}

TracedCall::~TracedCall() {
  if (!entered) return;
  const int32_t indent = 4 * --session.run->traceDepth;
  if (hasResult)
    trace(session, "%*s---) return(%d)\r\n", indent, "", result);
  else
    trace(session, "%*s---) return\r\n", indent, "");
}

void readCatalogue(SortSession& session) {
  SortRunState& run = *session.run;
  FILE* const file = platform::openCatalogue("lumasift.cat");
  if (file == nullptr) return;
  run.catalogue = static_cast<char*>(session.memory.allocate(platform::mostCatalogueBytes + 1));
  if (run.catalogue != nullptr)
    run.catalogueSize = static_cast<int32_t>(fread(run.catalogue, 1, platform::mostCatalogueBytes, file));
  fclose(file);
}

void writeStartLine(SortSession& session) {
  if (session.options->calledByProgram && session.run->messageFile != platform::noFile)
    message(278, platform::currentProcessId(), session.slot);
}

void writeTotals(SortSession& session) {
  const SortOptions& options = *session.options;
  const RunCounters& counters = session.run->counters;
  const auto total = [](int32_t number, int64_t bytes, int64_t records) { message(number, bytes, records); };
  constexpr int32_t totalPassed[] = {262, 265, 263, 264};  // by main function
  const bool checks = options.mainFunction == MainFunction::check;

  total(258, counters.bytesRead, counters.recordsSkipped + counters.recordsFiltered + counters.recordsPassed);
  if (options.skipCount > 0) total(260, counters.bytesSkipped, counters.recordsSkipped);
  if (options.conditions.count > 0) total(261, counters.bytesFiltered, counters.recordsFiltered);
  total(totalPassed[static_cast<int32_t>(options.mainFunction)], counters.bytesPassed,
        counters.recordsPassed);
  if (options.unique && !checks) total(266, counters.bytesEqual, counters.recordsEqual);
  if (options.sums.count > 0) total(267, counters.bytesSummed, counters.recordsSummed);
  if (!checks) total(259, counters.bytesWritten, counters.recordsWritten);
}

namespace {

// A signal may come to a thread that works for no session; it then ends one that is still at work.
SortSession* interruptedSession() {
  if (SortSession* const session = sessionOfThread(); session != nullptr) return session;
  return anyRunningSession();
}

void stopWorkers(SortSession& session) {
  bool any = false;
  for (WorkerSlot& worker : session.workers) any |= worker.running.exchange(false);
  if (any) platform::sleepMilliseconds(1000);
}

void handleSignal(int signal) {
  SortSession* const session = interruptedSession();
  if (session == nullptr || !session->running.exchange(false)) {
    // Ignored; but an instruction that faults would fault for ever.
    if (platform::isFault(signal)) platform::letSignalEnd(signal);
    return;
  }
  session->returnCode = signalCode;
  char text[128] = "";
  Line line{text, sizeof(text)};
  const Insert number = signalCode;
  format(line, prefix, &number, 1);
  format(line, unexpectedSignal, nullptr, 0);
  writeLine(*session, line);
  tellCallback(*session->run, text);
  stopWorkers(*session);
  if (session->run->removeFiles != nullptr) session->run->removeFiles(*session);
  platform::endAtOnce(signalCode);
}

}  // namespace

SignalTrap::SignalTrap(SortSession& session) : trapping(!session.options->noSignalHandling) {
  if (trapping) platform::hookSignals(handleSignal);
}

SignalTrap::~SignalTrap() {
  if (trapping) platform::unhookSignals();
}

}  // namespace qrt::sort
