// Sort, merge, copy and check, in their steps.
#include "sort/engine/main_functions.h"

#include "sort/engine/input.h"
#include "sort/engine/merge.h"
#include "sort/engine/messages.h"
#include "sort/engine/mid_reader.h"
#include "sort/engine/mid_writer.h"
#include "sort/engine/output.h"
#include "sort/engine/restore.h"
#include "sort/engine/run_formation.h"
#include "sort/engine/runs.h"

namespace qrt::sort {
namespace {

const char* sourceNameOf(const SortSession& session, const InputRun& run) {
  return session.options->inputExit != nullptr ? "input user exit" : run.sources[run.currentSource].name;
}

// Copies blocks until the input ends or the output wants no more.
int32_t copyBlocks(SortSession& session, InputRun& run, OutputRange& output) {
  bool ended = false;
  while (!ended) {
    run.sortBuffer.start = run.sortBuffer.cursor = output.cursor;
    run.sortBuffer.limit = output.limit;
    if (const int32_t failure = qsxExtractRead(session, run, ended); failure != 0) return failure;
    output.cursor = run.sortBuffer.cursor;
    if (ended) break;
    if (const int32_t failure = session.work->writeBlock(session, output, false); failure != 0)
      return failure;
  }
  return 0;
}

// The half of the S_buf that the entry doesn't stand in.
uint8_t* otherHalf(const SortSession& session, const InputRun& run, const SortEntry* entry) {
  uint8_t* const middle = run.sortBuffer.start + session.work->sizes.sortBuffer / 2;
  return reinterpret_cast<const uint8_t*>(entry) < middle ? middle : run.sortBuffer.start;
}

}  // namespace

int32_t MainSort(SortSession& session) {
  TracedCall call(session, "MainSort");
  if (const int32_t failure = InitSingleInputRun(session); failure != 0) return call.returns(failure);
  if (const int32_t failure = SortInput(session); failure != 0) return call.returns(failure);
  return call.returns(SortOutput(session));
}

int32_t MainMerge(SortSession& session) {
  TracedCall call(session, "MainMerge");
  if (const int32_t failure = allocateRunTable(session); failure != 0) return call.returns(failure);
  if (const int32_t failure = qsxMergeInputRuns(session); failure != 0) return call.returns(failure);
  return call.returns(session.work->runCount == 0 ? 0 : qsxMergeMidRuns(session));
}

int32_t MainCopy(SortSession& session) {
  TracedCall call(session, "MainCopy");
  if (const int32_t failure = InitSingleInputRun(session); failure != 0) return call.returns(failure);
  OutputRange output;
  int32_t result = qsxInitOutput(session, 0, 0, output);
  if (result == 0) {
    result = copyBlocks(session, *session.work->inputRuns, output);
    result = flushOutput(session, output, result);
  }
  return call.returns(qsxTermOutputPhase(session, 0, 0, result));
}

int32_t MainCheck(SortSession& session) {
  TracedCall call(session, "MainCheck");
  if (const int32_t failure = InitSingleInputRun(session); failure != 0) return call.returns(failure);
  bool ended = false;
  return call.returns(qsxExtractRead(session, *session.work->inputRuns, ended));
}

int32_t checkEntry(SortSession& session, InputRun& run, SortEntry* entry) {
  SortWorkState& work = *session.work;
  // Each source is checked by itself.
  if (const SortEntry* const before = work.checked;
      before != nullptr && run.currentSource == work.checkedSource) {
    if (session.options->unique && haveEqualKeyFields(session, *before, *entry)) return message(2);
    if (!keyIsBelow(before->keyWords(), entry->keyWords()))
      return message(1, run.sequence - run.sequenceBase + 1, sourceNameOf(session, run));
  }
  work.checked = entry;
  work.checkedSource = run.currentSource;
  run.sortBuffer.cursor = otherHalf(session, run, entry);
  return 0;
}

int32_t LumasiftMain(SortSession& session) {
  int32_t result = 0;
  switch (session.options->mainFunction) {
    case MainFunction::sort:
      result = MainSort(session);
      break;
    case MainFunction::merge:
      result = MainMerge(session);
      break;
    case MainFunction::copy:
      result = MainCopy(session);
      break;
    case MainFunction::check:
      result = MainCheck(session);
      break;
    case MainFunction::unset:
      result = internalError(1010);
      break;
  }
  endMidWriter(session);
  endMidReader(session);
  freeInputRuns(session);
  freeAllRuns(session);
  // Where a worker failed first, others only saw the session end.
  const int32_t first = session.returnCode.load();
  return first != 0 ? first : result;
}

}  // namespace qrt::sort
