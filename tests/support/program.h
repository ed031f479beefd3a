// Programs as a compiler lays them out, and the start of a plain run.
#pragma once

#include "support/allocation.h"
#include "support/process.h"

namespace qrt::test {

// A compiled program, with `nested` programs inside it. It must not move once it has been entered, and must
// live to the end of its run unit.
struct Program {
  QrtProgramBlock block{};
  std::vector<QrtProgramEntry> entries;
  std::vector<QrtFcb*> files;
  std::vector<QrtFileDescription*> descriptions;

  explicit Program(const char* name, size_t nested = 0) : entries(nested + 1) {
    entries[0].lastIndex = static_cast<int32_t>(nested);
    block.entries = entries.data();
    block.name = name;
    block.nameLength = static_cast<uint32_t>(strlen(name));
    block.yearWindow = QRT_NO_YEAR_WINDOW;
    setLevel(5, 1, 1);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void setLevel(uint8_t version, uint8_t release, uint8_t modification) {
    block.compilerLevel[0] = version;
    block.compilerLevel[1] = release;
    block.compilerLevel[2] = modification;
  }

  // Gives the program one more file; its control block may be null for an EXTERNAL one.
  void addFile(QrtFcb* file, QrtFileDescription* description) {
    files.push_back(file);
    descriptions.push_back(description);
    description->fileIndex = entries[0].fileCount = static_cast<int32_t>(files.size());
    entries[0].files = files.data();
    block.fileDescriptions = descriptions.data();
  }
};

// What startUp returns when its body comes back.
inline constexpr int32_t cameBack = -1;

// Plays the start-up code of a compiled main program: fills _qrtJmpCobStart and runs `body`. Returns the
// value of the jump that the run was left by.
template <typename Body>
int32_t startUp(Body&& body) {
  if (const int32_t value = qrtSetJump(&_qrtJmpCobStart); value != 0) return value;
  body();
  return cameBack;
}

// A plain run of `main` with `body` as its statements.
template <typename Body>
int32_t run(Program& main, Body&& body) {
  return startUp([&] {
    _qrtPgmInit(&main.block);
    body();
    _qrtPgmTerm(&main.block);
  });
}

// Live blocks once the C library and the process have made what they keep for good.
inline int32_t liveBlocksAfterARun() {
  _qrtPgmInit(nullptr);
  _qrtCleanUp();
  return liveBlocks();
}

}  // namespace qrt::test
