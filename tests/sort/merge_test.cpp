// Merges of runs in memory, in blocks and in files, beside a plain sort of all their entries.
#include "sort/engine/merge.h"

#include "fixture.h"
#include "sort/engine/mid_reader.h"
#include "sort/engine/mid_writer.h"

namespace {

using namespace qrt::sort;
using namespace qrt::test;

// An entry as words: both lengths, the key and the record.
using Entry = std::vector<uint32_t>;

Entry makeEntry(std::vector<uint32_t> fields, uint32_t sequence, uint32_t recordWords = 1) {
  Entry entry{static_cast<uint32_t>(fields.size() + 2) * 4, recordWords * 4};
  entry.insert(entry.end(), fields.begin(), fields.end());
  entry.insert(entry.end(), {0, sequence});
  entry.insert(entry.end(), recordWords, sequence * 2654435761U);
  return entry;
}

Entry entryOf(const SortEntry* entry) {
  const auto* const words = reinterpret_cast<const uint32_t*>(entry);
  return {words, words + entry->size() / 4};
}

bool isBelow(const Entry& left, const Entry& right) {
  return std::lexicographical_compare(left.begin() + 2, left.end(), right.begin() + 2, right.end());
}

// A run whose phases a test puts together itself; it keeps the entries that are delivered.
struct EngineRun : Folder, Prepared {
  SortWorkState* work;
  std::vector<Entry> delivered;
  inline static EngineRun* current = nullptr;

  EngineRun() : Prepared("-T temporary") {
    start([](MemorySizes& sizes) {
      sizes = {1 << 20, 1 << 20, 4096, 2, 8192, 3, 40, 8192, 8192, 4096, 8192, 1};
    });
    work = session->work;
    EXPECT_EQ(makeTempDirectories(*session), 0);
    EXPECT_EQ(allocateRunTable(*session), 0);
    current = this;
    work->writeBlock = [](SortSession&, OutputRange&, bool) { return 0; };
    work->restore = [](SortSession&, const SortEntry* entry, const SortEntry* previous, OutputRange&) {
      std::vector<Entry>& delivered = current->delivered;
      if (previous != nullptr) {
        EXPECT_EQ(previous->keyLength, delivered.back()[0]);
        EXPECT_EQ(memcmp(previous->key(), &delivered.back()[2], previous->keyLength), 0);
      }
      delivered.push_back(entryOf(entry));
      return 0;
    };
  }
  ~EngineRun() {
    freeAllRuns(*session);
    removeTempDirectories(*session);
  }

  // The entries of a merge of all runs.
  const std::vector<Entry>& merge(size_t count) {
    OutputRange output{};
    EXPECT_EQ(SingleMerge(*session, 0, static_cast<int32_t>(count), output), 0);
    return delivered;
  }
};

using Runs = std::vector<std::vector<Entry>>;

std::vector<Entry> sortedEntries(const Runs& runs) {
  std::vector<Entry> all;
  for (const std::vector<Entry>& run : runs) all.insert(all.end(), run.begin(), run.end());
  std::sort(all.begin(), all.end(), isBelow);
  return all;
}

// Entries dealt out to runs, in order within each. Keys of kind 0 are random, of 1 all equal, of 2 long and
// alike, of 3 of different lengths, and of 4 such that one run follows the other.
Runs makeRuns(size_t count, size_t entries, int kind, std::mt19937& random) {
  Runs runs(count);
  for (uint32_t at = 0; at < entries; ++at) {
    std::vector<uint32_t> fields{static_cast<uint32_t>(random()), static_cast<uint32_t>(random())};
    if (kind == 1) fields = {UINT32_MAX, UINT32_MAX};
    if (kind == 2)
      fields = {7, 7, 7, 7, static_cast<uint32_t>(random() % 3), 7, static_cast<uint32_t>(random() % 99)};
    if (kind == 3) fields.resize(random() % 4, 1);
    const size_t run = kind == 4 ? at * count / entries : random() % count;
    if (kind == 4) fields = {at / 3};
    runs[run].push_back(makeEntry(fields, at, random() % 20));
  }
  for (std::vector<Entry>& run : runs) std::sort(run.begin(), run.end(), isBelow);
  return runs;
}

// Gives runs out in blocks that stand in the same place one after the other, so that what is read behind its
// time is found out.
struct BlockSource {
  Runs runs;
  std::vector<std::vector<uint32_t>> blocks;
  std::vector<size_t> positions;
  std::mt19937 random{3};

  explicit BlockSource(const Runs& entries)
      : runs(entries), blocks(entries.size()), positions(entries.size()) {
    size_t longest = 1;
    for (const std::vector<Entry>& run : runs)
      for (const Entry& entry : run) longest = std::max(longest, entry.size());
    for (std::vector<uint32_t>& block : blocks) block.resize(5 * longest);
    current = this;
  }
  inline static BlockSource* current = nullptr;
  static int32_t next(SortSession&, int32_t run, EntryRange& range, bool& isLast) {
    BlockSource& source = *current;
    std::vector<uint32_t>& block = source.blocks[static_cast<size_t>(run)];
    const std::vector<Entry>& entries = source.runs[static_cast<size_t>(run)];
    size_t& at = source.positions[static_cast<size_t>(run)];
    std::fill(block.begin(), block.end(), 0);
    size_t used = 0;
    for (size_t wanted = 1 + source.random() % 5; wanted > 0 && at < entries.size(); --wanted, ++at)
      used +=
          static_cast<size_t>(std::copy(entries[at].begin(), entries[at].end(), &block[used]) - &block[used]);
    // The end is told with the last block or by an empty one behind it.
    isLast = at == entries.size() && source.random() % 2 == 0;
    const auto* const bytes = reinterpret_cast<const uint8_t*>(block.data());
    range = {bytes, bytes + used * 4};
    return 0;
  }
};

TEST(Merge, YieldsTheEntriesOfAllBlocksInOrder) {
  std::mt19937 random(11);
  for (const size_t count : {1, 2, 3, 5, 17, 255, 256}) {
    for (int kind = 0; kind < 5; ++kind) {
      for (const size_t entries : {size_t{0}, count / 2, count * 20}) {
        EngineRun run;
        const Runs runs = makeRuns(count, entries, kind, random);
        BlockSource source(runs);
        run.work->nextBlock = BlockSource::next;
        ASSERT_EQ(run.merge(count), sortedEntries(runs)) << count << " runs, keys of kind " << kind;
      }
    }
  }
}

TEST(Merge, TellsKeysApartThatDifferVeryLate) {
  std::mt19937 random(14);
  EngineRun run;
  run.work->sizes.entryBound = 200000;
  Runs runs(3);
  for (uint32_t at = 0; at < 60; ++at) {
    std::vector<uint32_t> fields(farthestDifference + 8, 7);
    fields[farthestDifference - 4 + random() % 12] = random() % 4;
    runs[random() % 3].push_back(makeEntry(fields, at));
  }
  for (std::vector<Entry>& entries : runs) std::sort(entries.begin(), entries.end(), isBelow);
  BlockSource source(runs);
  run.work->nextBlock = BlockSource::next;
  EXPECT_EQ(run.merge(3), sortedEntries(runs));
}

// Stores a run like an input phase does.
void store(EngineRun& run, const std::vector<Entry>& entries, bool inFile) {
  uint8_t* bytes;
  if (inFile) {
    ASSERT_EQ(nextWriterBuffer(*run.session, bytes), 0);
  } else {
    bytes = static_cast<uint8_t*>(run.session->memory.allocateBuffer(8192 + 16));
  }
  auto* const blocks = run.session->memory.make<uint32_t>(entries.size() + 1);
  uint32_t used = 0, block = 0;
  for (const Entry& entry : entries) {
    const auto size = static_cast<uint32_t>(entry.size() * 4);
    memcpy(bytes + used, entry.data(), size);
    used += size;
    if (blocks[block] != 0 && blocks[block] + size > 512) ++block;
    blocks[block] += size;
  }
  if (inFile) {
    writeBuffer(*run.session, used);
    InitMidRun(*run.session, blocks, static_cast<int32_t>(entries.size() + 1), nullptr, nullptr);
  } else {
    InitMidRun(*run.session, nullptr, 0, bytes, bytes + used);
  }
}

TEST(Merge, ReadsRunsInMemoryAndInFilesByTheirBlocks) {
  std::mt19937 random(12);
  for (const size_t count : {1, 2, 40, 256}) {
    for (const size_t resident : {0, 1}) {
      for (const int32_t stretch : {512, 1300, 4096}) {
        EngineRun run;
        run.work->sizes.blockSize = 512;
        run.work->sizes.t2 = 0;  // read buffers of Y bytes
        run.work->sizes.midBlock = stretch;
        const Runs runs = makeRuns(count, count * 40, 0, random);
        for (size_t at = 0; at < resident; ++at) store(run, runs[at], false);
        ASSERT_EQ(ForkMidWriter(*run.session), 0);
        for (size_t at = resident; at < count; ++at) store(run, runs[at], true);
        ASSERT_EQ(endMidWriter(*run.session), 0);
        ASSERT_EQ(run.work->runCount, static_cast<int32_t>(count));
        run.work->nextBlock = GetNextMidBlock;
        ASSERT_EQ(InitRunsEntries(*run.session, 0, run.work->runCount), 0);
        ASSERT_EQ(run.merge(count), sortedEntries(runs));
        endMidReader(*run.session);
      }
    }
  }
}

}  // namespace
