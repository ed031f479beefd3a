// The message writer: looks a message up in the catalogue, puts its line together, counts errors, and gives
// the text to the host, the message stream or the caller.
#include "frame/message.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "frame/catalogue.h"
#include "frame/guard.h"
#include "frame/hosting.h"
#include "frame/message_text.h"
#include "frame/traceback.h"
#include "frame/word_wrap.h"
#include "platform/exceptions.h"

namespace qrt::frame {

namespace {

constexpr char catalogueName[] = "qrtremsg.cat";
constexpr uint32_t usualBufferSize = 4096;
constexpr uint32_t mostBufferSize = 1024 * 1024;
constexpr std::string_view emptyHead = "         ";

// The writer's state, as it is before the first message.
struct Writer {
  QrtCatalogue* messageCatalog = nullptr;
  uint32_t messageBufferSize = 0;  // 0 while the catalogue hasn't been tried
  char messagePrefix[4] = "QRT";
  char severityLetters[5] = "0123";
  char noSpaceText[80] = "";
  int32_t charsPerSymbol = 0;  // most bytes of a character; only texts of single bytes are wrapped
};
Writer writer;

// One call of the writer. Values are those of the text, or of the text that stands in for it.
struct Request {
  int32_t number;
  uint32_t flags;
  const QrtMachineContext* machine;  // null for the current frame
  MessageValues* values;

  bool inTextMode() const { return (flags & QRT_MESSAGE_TEXT) != 0; }
  bool wantsTraceback() const {
    if ((flags & QRT_MESSAGE_NO_TRACEBACK) != 0) return false;
    return !inTextMode() || (flags & QRT_MESSAGE_KEEP_TRACEBACK) != 0;
  }
};

enum class RunEnd { none, severity, errorCount };

// Why the message ends the run. Counts it when it is one of those that ERRCOUNT limits.
RunEnd runEndOf(int severity) {
  if (severity >= 2) return RunEnd::severity;
  if (severity == 0 || _qrtRuncom == nullptr || _qrtRuncom->errCountLeft == 0) return RunEnd::none;
  if (_qrtRuncom->errCountLeft == 1) return RunEnd::errorCount;
  --_qrtRuncom->errCountLeft;
  return RunEnd::none;
}

// Takes prefix, letters and buffer size from the control record; what is missing keeps its default.
void configure(const char* record) {
  char prefix[4] = "", letters[5] = "", size[12] = "";
  sscanf(textProper(record), "%3s %4s %11s", prefix, letters, size);
  if (strlen(prefix) == 3) memcpy(writer.messagePrefix, prefix, sizeof(prefix));
  if (strlen(letters) == 4) memcpy(writer.severityLetters, letters, sizeof(letters));
  const uint32_t asked = static_cast<uint32_t>(strtoul(size, nullptr, 10));
  writer.messageBufferSize = std::clamp(asked, usualBufferSize, mostBufferSize);
}

void openCatalogue() {
  writer = Writer{};
  writer.messageBufferSize = usualBufferSize;
  writer.messageCatalog = _qrtCatopen(catalogueName);
  snprintf(writer.noSpaceText, sizeof(writer.noSpaceText), "%s",
           catalogueText(writer.messageCatalog, message::noSpace, 1, "1 Cannot get space for message"));
  const char* record = catalogueText(writer.messageCatalog, message::controlRecord, 1, "");
  if (*record == 0) {
    _qrtCatclose(writer.messageCatalog);
    writer.messageCatalog = nullptr;
    return;
  }
  configure(record);
  writer.charsPerSymbol = static_cast<int32_t>(MB_CUR_MAX);
}

void closeCatalogue() {
  _qrtCatclose(writer.messageCatalog);
  writer.messageCatalog = nullptr;
  writer.messageBufferSize = 0;
}

int severityOf(const char* catalogued) {
  return *catalogued >= '0' && *catalogued <= '3' ? *catalogued - '0' : 3;
}

// Prefix, number and severity letter, over the blanks at the head of the line.
void putHead(char* line, int32_t number, int severity) {
  memcpy(line, writer.messagePrefix, 3);
  char* const letter = line + (number < 999 ? 6 : 7);
  auto rest = static_cast<uint32_t>(number);
  for (char* digit = letter; digit > line + 3; rest /= 10) *--digit = static_cast<char>('0' + rest % 10);
  *letter = writer.severityLetters[severity];
}

// The notice behind the message that ends the run; where a host tells it by itself, nothing.
void appendExitNotice(MessageText& text, RunEnd reason) {
  if (hosted() && _qrtIsApc != 2) return;
  const char* notice = reason == RunEnd::severity
                           ? catalogueText(writer.messageCatalog, message::exitNotice, 1,
                                           "  QRT901S Program exits due to severe or critical error.")
                           : catalogueText(writer.messageCatalog, message::exitNotice, 2,
                                           "  QRT901S Program exits: more than ERRCOUNT errors occurred.");
  text.append(textProper(notice));
  text.appendByte('\n');
}

// The catalogue's text for the request, which becomes one for message 994 where there is none.
const char* textFor(Request& request, MessageValues& numberAndCatalogue) {
  const auto number = static_cast<uint32_t>(request.number);
  const char* found = catalogueText(writer.messageCatalog, number, (request.flags & 0xFF) + 1, "");
  if (*found != 0) return found;
  request.number = message::notFound;
  request.values = &numberAndCatalogue;
  if (writer.messageCatalog == nullptr)
    return "2 Cannot find message catalog %2$s in NLSPATH. Message number is %1$d.";
  return catalogueText(writer.messageCatalog, message::notFound, 1, "2 Cannot find message %d in %s");
}

// Text mode: no head, no end of the run; the text without the blanks and line ends behind it goes to the
// caller.
void formatForCaller(Request request, MessageText& text, char* target, int32_t length,
                     const char* catalogued) {
  appendFormatted(text, textProper(catalogued), *request.values);
  text.appendByte('\n');
  if (request.wantsTraceback()) appendTraceback(text, request.machine);
  size_t end = text.length;
  while (end > 0 && (text.start[end - 1] == '\n' || text.start[end - 1] == ' ')) --end;
  if (length > 0) MessageText(target, static_cast<size_t>(length)).append({text.start, end});
}

// Puts the message together and writes it out.
RunEnd writeOut(Request request, MessageText& text, const char* catalogued) {
  const int width = _qrtWriteStderr(text.start, 0, static_cast<int32_t>(text.room()));
  text.append(emptyHead);
  appendFormatted(text, textProper(catalogued), *request.values);
  text.appendByte('\n');
  int severity = severityOf(catalogued);
  putHead(text.start, request.number, severity);
  if ((request.flags & QRT_MESSAGE_SEVERE) != 0) severity = 2;
  if ((request.flags & QRT_MESSAGE_INFORMATION) != 0) severity = 0;
  const RunEnd runEnd = runEndOf(severity);
  if (request.wantsTraceback()) appendTraceback(text, request.machine);
  if (runEnd != RunEnd::none && qrtDebugAttached() == 0) appendExitNotice(text, runEnd);
  if (writer.charsPerSymbol == 1) wrap(text, width);
  if (text.room() == 0) --text.length;  // a text that was cut ends its line all the same
  text.appendByte('\n');
  _qrtWriteStderr(text.start, static_cast<int32_t>(text.length), static_cast<int32_t>(text.room()));
  return runEnd;
}

// Leaves the text in `block`, null for none, to the debugger, and goes to the innermost guard.
[[noreturn]] void jumpToGuard(char* block) {
  _qrtCheckFree(qrtStorageBlock->pendingMessage);
  qrtStorageBlock->pendingMessage = block;
  qrtLongJump(qrtStorageBlock->anchor, 1);
}

[[noreturn]] void endRun(char* block) {
  const bool guarded = qrtStorageBlock != nullptr && qrtStorageBlock->anchor != nullptr;
  if (qrtDebugAttached() != 0 && guarded) jumpToGuard(block);
  if (block != nullptr) _qrtCheckFree(block);
  _qrtAbend();
}

int32_t write(Request request, va_list* list) {
  const platform::InstalledHandler handler(ERRmsgHandler);
  doingTraceBack = 0;
  if ((request.flags & QRT_MESSAGE_CONTROL) != 0) {
    if ((request.flags & 1) != 0) closeCatalogue();
    return 0;
  }
  if (writer.messageBufferSize == 0) openCatalogue();

  char local[256];
  auto* const block = static_cast<char*>(_qrtCheckMalloc(writer.messageBufferSize));
  MessageText text(block != nullptr ? block : local,
                   block != nullptr ? writer.messageBufferSize : sizeof(local));
  MessageValues values(list);
  MessageValues numberAndCatalogue(static_cast<uint32_t>(request.number),
                                   reinterpret_cast<uint32_t>(catalogueName));
  request.values = &values;
  if (request.inTextMode()) {
    auto* const target = reinterpret_cast<char*>(values.takeFirst());
    const auto length = static_cast<int32_t>(values.takeFirst());
    const char* const catalogued = textFor(request, numberAndCatalogue);
    formatForCaller(request, text, target, length, catalogued);
  } else {
    const char* catalogued = writer.noSpaceText;
    if (block != nullptr) {
      catalogued = textFor(request, numberAndCatalogue);
    } else {
      request.number = message::noSpace;
      request.values = &numberAndCatalogue;
    }
    if (writeOut(request, text, catalogued) != RunEnd::none) endRun(block);
  }
  if (block != nullptr) _qrtCheckFree(block);
  return 0;
}

// Gives each line that isn't empty to the host.
void giveLines(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (!line.empty()) messageCallback(0, hostTag, line.data(), static_cast<int32_t>(line.size()));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
}

}  // namespace

const char* messageText(int32_t number, uint32_t variant) {
  if (writer.messageBufferSize == 0) openCatalogue();
  const char* const found = catalogueText(writer.messageCatalog, static_cast<uint32_t>(number), variant, "");
  return *found != 0 ? textProper(found) : nullptr;
}

}  // namespace qrt::frame

int32_t qrtWriteERRmsg(int32_t number, uint32_t flags, ...) {
  va_list list;
  va_start(list, flags);
  const int32_t result = qrt::frame::write({number, flags, nullptr, nullptr}, &list);
  va_end(list);
  return result;
}

int32_t qrtWriteERRmsg2(int32_t number, const QrtMachineContext* machine, uint32_t flags, ...) {
  va_list list;
  va_start(list, flags);
  const int32_t result = qrt::frame::write({number, flags, machine, nullptr}, &list);
  va_end(list);
  return result;
}

int32_t _qrtWriteERRmsg(int32_t number, uint32_t flags, ...) {
  using namespace qrt::frame;
  Guard guard;
  if (qrtArmGuard(&guard) == 0) {
    va_list list;
    va_start(list, flags);
    const int32_t result = write({number, flags, nullptr, nullptr}, &list);
    va_end(list);
    disarm(guard);
    return result;
  }
  caughtByGuard(guard);
  return 0;
}

int32_t _qrtWriteStderr(const char* text, int32_t length, int32_t) {
  using namespace qrt::frame;
  constexpr int32_t hostWidth = 80;
  if (_qrtIsApc != 0 && messageCallback != nullptr) {
    const bool severe = length > 6 && (text[6] == 'S' || text[6] == 'C') && gotSignal() == 0;
    messageCallback(severe ? 1 : 0, hostTag, text, length);
    return 0;
  }
  if (hosted() && length == 0) return hostWidth;
  if (hosted() && messageCallback != nullptr) {
    giveLines({text, static_cast<size_t>(length)});
    return 0;
  }
  if (length <= 0) return 0;
  if (_qrtProccom != nullptr && _qrtProccom->messageFile == nullptr) _qrtEnvNameInit('M');
  FILE* const stream =
      _qrtProccom != nullptr && _qrtProccom->messageFile != nullptr ? _qrtProccom->messageFile : stderr;
  fwrite(text, 1, static_cast<size_t>(length), stream);
  return 0;
}

void _qrtnogxm() {
  qrtWriteERRmsg(qrt::frame::message::noGenerator, 0);
}
