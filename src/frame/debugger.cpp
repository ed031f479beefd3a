// The link to a source-level debugger, which lives in a module of its own and marks its presence in
// _qrtIsDebuggerLoaded.
#include "platform/locale.h"
#include "platform/modules.h"
#include "qrtrlib.h"

namespace {
using namespace qrt;

using StartMessage = int32_t(int32_t first, int32_t second, int32_t third, const char* codeSet,
                             const char* text);

// Null while there is none; it is looked for again at the next call. The module stays loaded.
StartMessage* startMessageRoutine() {
  static platform::Module debugger = nullptr;
  static StartMessage* routine = nullptr;
  if (debugger == nullptr) debugger = platform::loadModule("dvtddbg1.dll");
  if (routine == nullptr && debugger != nullptr)
    routine = platform::findRoutineAs<StartMessage>(debugger, "_debug_start_msg");
  return routine;
}

}  // namespace

int32_t qrtDebugAttached() {
  return _qrtIsDebuggerLoaded != 0 ? 1 : 0;
}

int32_t qrtDebugStartMsg(int32_t first, int32_t second, int32_t third, const char*, const char* text) {
  platform::adoptSystemLocale();
  const char* const codeSet = platform::codeSetName();
  StartMessage* const routine = startMessageRoutine();
  return routine != nullptr ? routine(first, second + 1, third, codeSet, text) : 0;
}
