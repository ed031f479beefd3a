// The standard COBOL files: which environment variables name them, how they are opened, and their fallback.
#include "frame/streams.h"

#include <stdlib.h>

#include <span>

#include "platform/paths.h"

namespace qrt::frame {
namespace {

// The stream that the first variable with a value names; null when none has one or the file can't be opened.
FILE* openNamed(std::span<const char* const> variables, const char* mode) {
  for (const char* variable : variables)
    if (const char* name = getenv(variable); name != nullptr && *name != 0)
      return platform::openStream(name, mode);
  return nullptr;
}

void openOnce(FILE*& stream, std::span<const char* const> variables, const char* mode, FILE* fallback) {
  if (stream != nullptr) return;
  stream = openNamed(variables, mode);
  if (stream == nullptr) stream = fallback;
}

void closeOwn(FILE*& stream, FILE* fallback) {
  if (stream != nullptr && stream != fallback) fclose(stream);
  stream = nullptr;
}

constexpr const char* sysout[] = {"SYSOUT", "SYSLIST", "SYSLST"};
constexpr const char* sysin[] = {"SYSIN", "SYSIPT"};
constexpr const char* syspunch[] = {"SYSPUNCH", "SYSPCH"};
constexpr const char* messages[] = {"COBMSGS"};
constexpr const char* console[] = {"CONSOLE"};

}  // namespace

void openSysout() {
  openOnce(_qrtProccom->sysoutFile, sysout, "a", stdout);
}

void closeStandardFiles() {
  QrtProcessRecord& process = *_qrtProccom;
  closeOwn(process.messageFile, stderr);
  closeOwn(process.sysoutFile, stdout);
  closeOwn(process.syspunchFile, nullptr);
  closeOwn(process.sysinFile, stdin);
  closeOwn(process.consoleOutFile, stdout);
  closeOwn(process.consoleInFile, stdin);
}

}  // namespace qrt::frame

void _qrtEnvNameInit(char letter) {
  using namespace qrt::frame;
  if (_qrtProccom == nullptr) return;
  QrtProcessRecord& process = *_qrtProccom;
  switch (letter) {
    case 'I':
      return openOnce(process.sysinFile, sysin, "r", stdin);
    case 'M':
      return openOnce(process.messageFile, messages, "w", stderr);
    case 'P':
      return openOnce(process.syspunchFile, syspunch, "w", nullptr);
    case 'A':
      return openOnce(process.consoleInFile, console, "r", stdin);
    case 'D':
      return openOnce(process.consoleOutFile, console, "a", stdout);
    default:
      return;
  }
}
