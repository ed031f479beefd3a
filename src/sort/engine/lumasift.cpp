#include "sort/engine/lumasift.h"

#include "qrtrlib.h"
#include "sort/engine/extract.h"
#include "sort/engine/main_functions.h"
#include "sort/engine/memory_sizes.h"
#include "sort/engine/messages.h"
#include "sort/engine/mid_reader.h"
#include "sort/engine/mid_writer.h"
#include "sort/engine/output.h"
#include "sort/engine/records.h"
#include "sort/engine/report.h"
#include "sort/engine/runs.h"

namespace qrt::sort {
namespace {

bool usesFiles(const SortOptions& options) {
  return options.mainFunction == MainFunction::sort || options.mainFunction == MainFunction::merge;
}

// Everything that stands between the options and the main function.
int32_t LumasiftInit(SortSession& session) {
  session.work = session.memory.make<SortWorkState>();
  if (session.work == nullptr) return noMemory(sizeof(SortWorkState));
  SortOptions& options = *session.options;
  if (options.outputKind == OutputKind::targetBuffers) options.outputPrefix = false;
  if (const int32_t failure = MemManageInit(session); failure != 0) return failure;
  if (const int32_t failure = InitExtract(session); failure != 0) return failure;
  return usesFiles(options) ? makeTempDirectories(session) : 0;
}

// Frees what isn't the session's memory.
void qsxMainTerm(SortSession& session) {
  if (session.work == nullptr) return;
  closeOutput(session, false);
  freeRecords(session);
  if (usesFiles(*session.options)) removeTempDirectories(session);
}

int32_t runSession(SortSession& session, const EngineArguments& arguments) {
  if (const int32_t code = prepare(session, arguments); code != 0) return code;
  const SignalTrap trap(session);
  int32_t result = LumasiftInit(session);
  if (result == 0) result = LumasiftMain(session);
  if (result == 0 && isRunning(session)) writeTotals(session);
  qsxMainTerm(session);
  return result;
}

// A session of the calling thread, which stands in a routine of the caller's, may never get to clean up:
// nothing of it is left on disk. Others do so themselves.
void endSession(SortSession& session, int32_t reason) {
  endRun(session, reason);
  if (session.threadId != platform::currentThreadId() || session.work == nullptr) return;
  endMidWriter(session);
  endMidReader(session);
  if (session.run->removeFiles != nullptr) session.run->removeFiles(session);
}

}  // namespace

int32_t runEngine(const EngineArguments& arguments) {
  int32_t code;
  SortSession* const session = makeSession(code);
  if (session == nullptr) return code;
  code = runSession(*session, arguments);
  if (const int32_t first = session->returnCode.load(); first != 0) code = first;
  freeSession(session);
  return code;
}

void endSessions(int32_t reason, const void* callbackContext) {
  struct Request {
    int32_t reason;
    const void* context;
  } request = {reason, callbackContext};
  forEachSession(
      [](SortSession* session, void* context) {
        const auto& wanted = *static_cast<const Request*>(context);
        if (wanted.context == nullptr || session->run->callbackContext == wanted.context)
          endSession(*session, wanted.reason);
      },
      &request);
}

}  // namespace qrt::sort

int32_t Lumasift_Lite(const char* options, QrtSortBuffer* sources, QrtSortBuffer* targets,
                      QrtSortExit inputExit, QrtSortExit outputExit, const uint8_t* collatingTable,
                      QrtSortErrorCallback errorCallback, void* callbackContext) {
  return qrt::sort::runEngine({.text = options,
                               .arguments = {},
                               .sources = sources,
                               .targets = targets,
                               .inputExit = inputExit,
                               .outputExit = outputExit,
                               .collatingTable = collatingTable,
                               .errorCallback = errorCallback,
                               .callbackContext = callbackContext});
}
