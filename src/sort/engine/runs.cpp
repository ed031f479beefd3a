// The run table, and the life of intermediate files: their directories, names, creation and end.
#include "sort/engine/runs.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "platform/directories.h"
#include "platform/errors.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/threads.h"
#include "sort/engine/messages.h"

namespace qrt::sort {
namespace {

constexpr int32_t smallestRunLimit = 1024;
constexpr int32_t largestRunLimit = 4000000;
constexpr int32_t numbersOfASession = 1 << 22;

// The most runs and files of an input phase.
int32_t runLimit() {
  const char* const text = getenv("COB_SORT_MAX_TMP_FILES");
  const int64_t limit = text == nullptr ? 0 : strtoll(text, nullptr, 10);
  return static_cast<int32_t>(std::clamp<int64_t>(limit, smallestRunLimit, largestRunLimit));
}

struct FileName {
  char text[PATH_MAX + 32];

  bool endsInSeparator(const char* directory) const {
    return *directory != 0 && directory[strlen(directory) - 1] == '\\';
  }
  explicit FileName(const TempDir& directory) {
    snprintf(text, sizeof text, endsInSeparator(directory.name) ? "%s%d" : "%s\\%d", directory.name,
             platform::currentProcessId());
  }
  // Sessions of a process share its directories: each has a range of numbers of its own.
  FileName(const SortSession& session, const TempDir& directory, int32_t fileNumber) {
    const int32_t number = std::max(session.slot, 0) * numbersOfASession + fileNumber;
    snprintf(text, sizeof text, endsInSeparator(directory.name) ? "%s%d\\%d" : "%s\\%d\\%d", directory.name,
             platform::currentProcessId(), number);
  }
};

// Another session of the process may have taken the directory away with its own last file.
int32_t createMidFile(const TempDir& directory, const char* name) {
  const int32_t file = platform::createFile(name);
  if (file != platform::noFile || platform::lastError() != platform::fileNotFound) return file;
  platform::makeDirectory(FileName(directory).text);
  return platform::createFile(name);
}

void freeRun(SortSession& session, int32_t run) {
  SortWorkState& work = *session.work;
  SortRun* const freed = work.runs[run];
  if (freed == nullptr) return;
  if (freed->file != platform::noFile) platform::closeFile(freed->file);
  if (freed->memory == nullptr) deleteMidFile(session, run);
  session.memory.release(freed->memory);
  session.memory.release(freed->blocks);
  session.memory.release(freed);
  work.runs[run] = nullptr;
}

void deleteMidFiles(SortSession& session) {
  const SortWorkState& work = *session.work;
  if (work.fileDirs == nullptr) return;
  for (int32_t file = 0; file < work.runRows; ++file) deleteMidFile(session, file);
}

}  // namespace

int32_t allocateRunTable(SortSession& session) {
  SortWorkState& work = *session.work;
  work.runLimit = runLimit();
  // Each merge adds one run and takes at least two, all but the first one 256.
  const int32_t inputRuns = std::max(work.runLimit, session.options->sources.count / fanIn + 1);
  work.runRows = inputRuns + inputRuns / (fanIn - 1) + 2;
  work.runs = session.memory.make<SortRun*>(static_cast<size_t>(work.runRows));
  if (work.runs != nullptr) work.fileDirs = session.memory.make<TempDir*>(static_cast<size_t>(work.runRows));
  if (work.fileDirs == nullptr) return noMemory(static_cast<size_t>(work.runRows) * sizeof(SortRun*));
  return 0;
}

SortRun* InitMidRun(SortSession& session, uint32_t* blocks, int32_t blockRows, uint8_t* memory,
                    uint8_t* memoryEnd) {
  SortWorkState& work = *session.work;
  auto* const run = session.memory.make<SortRun>();
  if (run != nullptr && blocks == nullptr) blocks = session.memory.make<uint32_t>(blockRows = 1);
  if (blocks == nullptr) {
    session.memory.release(run);
    message(49);
    return nullptr;
  }
  if (run == nullptr) {
    noMemory(sizeof(SortRun));
    return nullptr;
  }
  run->file = platform::noFile;
  run->blocks = blocks;
  run->blockRows = blockRows;
  run->memory = memory;
  run->memoryEnd = memoryEnd;
  work.runs[work.runCount++] = run;
  return run;
}

int32_t addBlock(SortSession& session, SortRun& run) {
  if (run.blocksInUse + 2 > run.blockRows) {
    const int32_t rows = run.blockRows * 2 + 2;
    auto* const blocks = session.memory.make<uint32_t>(static_cast<size_t>(rows));
    if (blocks == nullptr) return message(49);
    memcpy(blocks, run.blocks, static_cast<size_t>(run.blocksInUse) * sizeof *blocks);
    session.memory.release(run.blocks);
    run.blocks = blocks;
    run.blockRows = rows;
  }
  run.blocks[run.blocksInUse++] = 0;
  run.blocks[run.blocksInUse] = 0;
  return 0;
}

int32_t makeTempDirectories(SortSession& session) {
  SortWorkState& work = *session.work;
  const SortOptions& options = *session.options;
  const auto count = static_cast<size_t>(options.tempDirCount);
  auto* const ring = session.memory.make<TempDir>(count);
  if (ring == nullptr) return noMemory(count * sizeof(TempDir));
  const TempDir* directory = options.tempDirs;
  for (size_t at = 0; at < count; ++at, directory = directory->next) {
    ring[at] = {&ring[(at + 1) % count], directory->name};
    platform::makeDirectory(FileName(*directory).text);
  }
  work.currentTempDir = count == 0 ? nullptr : ring;
  session.run->removeFiles = [](SortSession& ended) {
    deleteMidFiles(ended);
    removeTempDirectories(ended);
  };
  return 0;
}

void removeTempDirectories(SortSession& session) {
  session.run->removeFiles = nullptr;
  const TempDir* directory = session.options->tempDirs;
  for (int32_t left = session.options->tempDirCount; left > 0; --left, directory = directory->next)
    platform::removeDirectory(FileName(*directory).text);
}

void dropTempDirectory(SortSession& session) {
  TempDir*& current = session.work->currentTempDir;
  TempDir* before = current;
  while (before->next != current) before = before->next;
  before->next = current->next;
  current = before == current ? nullptr : before->next;
}

int32_t OpenWriteMidFile(SortSession& session, int32_t fileNumber, int32_t& file) {
  SortWorkState& work = *session.work;
  while (work.currentTempDir != nullptr) {
    const FileName name(session, *work.currentTempDir, fileNumber);
    file = createMidFile(*work.currentTempDir, name.text);
    if (file != platform::noFile && platform::reserveSpace(file, work.sizes.sortBuffer)) {
      work.fileDirs[fileNumber] = work.currentTempDir;
      return 0;
    }
    const int32_t failure = platform::lastError();
    if (file != platform::noFile) {
      platform::closeFile(file);
      platform::deleteFile(name.text);
      file = platform::noFile;
    }
    if (failure != platform::diskFull) return message(58, name.text, failure);
    dropTempDirectory(session);
  }
  return message(40);
}

void deleteMidFile(SortSession& session, int32_t fileNumber) {
  TempDir*& directory = session.work->fileDirs[fileNumber];
  if (directory == nullptr) return;
  platform::deleteFile(FileName(session, *directory, fileNumber).text);
  directory = nullptr;
}

int32_t qsxOpenReadMidFile(SortSession& session, int32_t run) {
  SortWorkState& work = *session.work;
  const TempDir* const directory = work.fileDirs[run];
  if (directory == nullptr) return internalError(1006);
  const FileName name(session, *directory, run);
  work.runs[run]->file = platform::openFileForReading(name.text);
  return work.runs[run]->file == platform::noFile ? message(58, name.text, platform::lastError()) : 0;
}

void FreeMidRuns(SortSession& session, int32_t firstRun, int32_t count) {
  for (int32_t run = firstRun; run < firstRun + count; ++run) freeRun(session, run);
}

void freeAllRuns(SortSession& session) {
  SortWorkState& work = *session.work;
  if (work.runs == nullptr) return;
  FreeMidRuns(session, 0, work.runCount);
  // Files that the writer made ahead of a failure, which never became runs.
  deleteMidFiles(session);
}

}  // namespace qrt::sort
