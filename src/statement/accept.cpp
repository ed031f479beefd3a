// ACCEPT from the standard input streams and from the clock, and STOP, which waits for the operator.
#include "statement/accept.h"

#include <errno.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "frame/guard.h"
#include "nls/code_pages.h"
#include "platform/clock.h"
#include "platform/errors.h"
#include "platform/streams.h"
#include "qrtrlib.h"

namespace qrt::statement {
namespace {

constexpr int32_t readFailed = 200;
constexpr uint32_t ofStandardInput = 1;  // flags: the second text of that number

constexpr int32_t endOfInput = -1;

// The bytes of a stream.
struct Bytes {
  using Unit = uint8_t;
  FILE* stream;

  int32_t next() { return getc(stream); }
};

// The UTF-16 units of a stream.
struct Units {
  using Unit = uint16_t;
  FILE* stream;
  int32_t lowSurrogate = 0;  // still to come; 0 for none

  int32_t next() {
    if (lowSurrogate != 0) return std::exchange(lowSurrogate, 0);
    const int32_t character = platform::readWideCharacter(stream);
    if (character < 0x10000) return character;
    lowSurrogate = 0xDC00 + (character & 0x3FF);
    return 0xD7C0 + (character >> 10);
  }
};

// What a read came to.
struct Reading {
  int32_t units;
  int32_t error;  // system error number; 0 for none
};

// The error behind an end of input, if there is one; the stream is ready for the next statement.
int32_t errorAtEnd(FILE* stream, int systemError) {
  const bool failed = ferror(stream) != 0 || systemError == EILSEQ;
  clearerr(stream);
  return failed ? platform::errorNumberOf(systemError) : 0;
}

// Drops the rest of a line of which `next` was read; what ended it, a line end or the end of input.
template <typename Source>
int32_t dropLine(Source& source, int32_t next) {
  while (next != '\n' && next != endOfInput) next = source.next();
  return next;
}

// Reads up to `length` units into `receiver`. The line end of a terminal ends the input, and what is left of
// its line is dropped; the lines of a file run together, and the rest stays for the next statement.
template <typename Source>
Reading readInto(FILE* stream, void* receiver, int32_t length) {
  clearerr(stream);
  const bool interactive = platform::isInteractive(stream);
  errno = 0;  // not a terminal is no error
  Source source{stream};
  auto* out = static_cast<uint8_t*>(receiver);
  int32_t count = 0, next = 0;
  while (count < length && (next = source.next()) != endOfInput) {
    if (next != '\n') {
      const auto unit = static_cast<typename Source::Unit>(next);
      memcpy(out, &unit, sizeof unit);
      out += sizeof unit;
      ++count;
    } else if (interactive) {
      break;
    }
  }
  if (count == length && interactive) next = dropLine(source, next);
  return {count, next == endOfInput ? errorAtEnd(stream, errno) : 0};
}

FILE* inputOf(uint8_t flags) {
  QrtProcessRecord& process = *_qrtProccom;
  const bool console = (flags & QRT_ACCEPT_CONSOLE) != 0;
  FILE*& stream = console ? process.consoleInFile : process.sysinFile;
  if (stream == nullptr) _qrtEnvNameInit(console ? 'A' : 'I');
  return stream;
}

template <typename Source>
Reading acceptStream(uint8_t flags, void* receiver, int32_t length) {
  Reading reading{};
  frame::underNestedGuard([&] { reading = readInto<Source>(inputOf(flags), receiver, length); });
  return reading;
}

// Comes last in a statement, since the message may end the run.
void reportError(const char* verb, int32_t error) {
  if (error != 0) qrtWriteERRmsg(readFailed, ofStandardInput, verb, error);
}

// Spaces to the end of a receiver: double-byte ones, when they are asked for and only whole ones are missing.
void pad(uint8_t* receiver, int32_t from, int32_t length, bool doubleByte) {
  if (from >= length) return;
  if (!doubleByte || (length - from) % 2 != 0) {
    memset(receiver + from, ' ', static_cast<size_t>(length - from));
    return;
  }
  const uint8_t* const space = nls::doubleByteSpace();
  for (; from < length; from += 2) memcpy(receiver + from, space, 2);
}

// The text of the first date or time source in `flags`; empty when there is none.
std::string_view clockText(uint8_t flags, char (&text)[64]) {
  const platform::LocalTime now = platform::localTime();
  const bool fourDigits = (flags & QRT_ACCEPT_FOUR_DIGIT_YEAR) != 0;
  const int yearWidth = fourDigits ? 4 : 2, year = fourDigits ? now.year : now.year % 100;
  int length = 0;
  if ((flags & QRT_ACCEPT_DATE) != 0)
    length = snprintf(text, sizeof text, "%0*d%02d%02d", yearWidth, year, now.month, now.day);
  else if ((flags & QRT_ACCEPT_DAY) != 0)
    length = snprintf(text, sizeof text, "%0*d%03d", yearWidth, year, now.dayOfYear);
  else if ((flags & QRT_ACCEPT_TIME) != 0)
    length = snprintf(text, sizeof text, "%2.2d%2.2d%2.2d%2.2d", now.hour, now.minute, now.second,
                      now.millisecond / 10);
  else if ((flags & QRT_ACCEPT_DAY_OF_WEEK) != 0)
    length = snprintf(text, sizeof text, "%d", now.dayOfWeek == 0 ? 7 : now.dayOfWeek);
  return {text, static_cast<size_t>(length)};
}

}  // namespace

void accept(uint8_t flags, int32_t length, uint8_t* receiver) {
  if (length < 1) return;
  if ((flags & (QRT_ACCEPT_SYSIN | QRT_ACCEPT_CONSOLE)) != 0) {
    const Reading reading = acceptStream<Bytes>(flags, receiver, length);
    if (reading.units > 0) pad(receiver, reading.units, length, (flags & QRT_ACCEPT_DOUBLE_BYTE) != 0);
    return reportError("ACCEPT", reading.error);
  }
  char text[64];
  const std::string_view moved = clockText(flags, text).substr(0, static_cast<size_t>(length));
  if (moved.empty()) return;
  memcpy(receiver, moved.data(), moved.size());
  pad(receiver, static_cast<int32_t>(moved.size()), length, false);
}

void acceptUnicode(uint8_t flags, const int32_t* length, void* receiver) {
  if (*length >= 1 && (flags & (QRT_ACCEPT_SYSIN | QRT_ACCEPT_CONSOLE)) != 0)
    reportError("ACCEPT", acceptStream<Units>(flags, receiver, *length).error);
}

void stopLiteral(int32_t length, const char* text) {
  int32_t error = 0;
  frame::underNestedGuard([&] {
    FILE* const out = _qrtProccom->sysoutFile;
    FILE* const in = inputOf(QRT_ACCEPT_SYSIN);
    fwrite(text, 1, static_cast<size_t>(std::max(length, 0)), out);
    putc('\n', out);
    fflush(out);  // the operator answers to what can be seen
    clearerr(in);
    errno = 0;
    Bytes source{in};
    if (dropLine(source, source.next()) == endOfInput) error = errorAtEnd(in, errno);
  });
  reportError("STOP", error);
}

}  // namespace qrt::statement
