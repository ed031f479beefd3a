// A run of the engine whose phases a test puts together itself, in a temporary directory of its own.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "sort/engine/runs.h"
#include "sort/engine/session.h"
#include "sort/engine/work_state.h"

namespace qrt::test {

using sort::SortEntry;

// An entry as words: both lengths, the key and the record.
using Entry = std::vector<uint32_t>;

inline Entry makeEntry(std::vector<uint32_t> fields, uint32_t sequence, uint32_t recordWords = 1) {
  Entry entry{static_cast<uint32_t>(fields.size() + 2) * 4, recordWords * 4};
  entry.insert(entry.end(), fields.begin(), fields.end());
  entry.insert(entry.end(), {0, sequence});
  entry.insert(entry.end(), recordWords, sequence * 2654435761U);
  return entry;
}

inline Entry entryOf(const SortEntry* entry) {
  const auto* const words = reinterpret_cast<const uint32_t*>(entry);
  return {words, words + entry->size() / 4};
}

inline bool isBelow(const Entry& left, const Entry& right) {
  return std::lexicographical_compare(left.begin() + 2, left.end(), right.begin() + 2, right.end());
}

struct EngineRun {
  std::string directory = "/tmp/qrtsortXXXXXX";
  sort::TempDir tempDir{&tempDir, nullptr};
  sort::SortSession* session;
  sort::SortWorkState* work;
  std::vector<Entry> delivered;

  EngineRun() {
    tempDir.name = mkdtemp(directory.data());
    int32_t returnCode;
    session = sort::makeSession(returnCode);
    work = session->work = session->memory.make<sort::SortWorkState>();
    work->sizes = {1 << 20, 1 << 20, 4096, 2, 8192, 3, 40, 8192, 8192, 4096, 8192, 1};
    session->options->mainFunction = sort::MainFunction::sort;
    session->options->tempDirs = &tempDir;
    session->options->tempDirCount = 1;
    EXPECT_EQ(makeTempDirectories(*session), 0);
    EXPECT_EQ(allocateRunTable(*session), 0);
    current() = this;
    work->writeBlock = [](sort::SortSession&, sort::OutputRange&, bool) { return 0; };
    work->restore = [](sort::SortSession&, const SortEntry* entry, const SortEntry* previous,
                       sort::OutputRange&) {
      EngineRun& run = *current();
      if (previous != nullptr) {
        const Entry& last = run.delivered.back();
        EXPECT_EQ(previous->keyLength, last[0]);
        EXPECT_EQ(memcmp(previous->key(), &last[2], last[0]), 0);
      }
      run.delivered.push_back(entryOf(entry));
      return 0;
    };
  }
  ~EngineRun() {
    freeAllRuns(*session);
    removeTempDirectories(*session);
    freeSession(session);
    EXPECT_TRUE(std::filesystem::is_empty(directory)) << "files are left behind";
    std::filesystem::remove_all(directory);
  }

  static EngineRun*& current() {
    static EngineRun* run;
    return run;
  }
};

}  // namespace qrt::test
