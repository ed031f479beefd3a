// Merges of runs that come in blocks, beside a plain sort of all their entries.
#include "sort/engine/merge.h"

#include "fixture.h"

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

// A merge of runs whose blocks come from a test; it keeps the entries that are delivered.
struct MergeRun : Prepared {
  std::vector<Entry> delivered;
  inline static MergeRun* current = nullptr;

  explicit MergeRun(NextBlock nextBlock) : Prepared("") {
    start([](MemorySizes& sizes) { sizes.entryBound = 200000; });
    current = this;
    session->work->nextBlock = nextBlock;
    session->work->writeBlock = [](SortSession&, OutputRange&, bool) { return 0; };
    session->work->restore = [](SortSession&, const SortEntry* entry, const SortEntry* previous,
                                OutputRange&) {
      std::vector<Entry>& delivered = current->delivered;
      if (previous != nullptr) {
        EXPECT_EQ(previous->keyLength, delivered.back()[0]);
        EXPECT_EQ(memcmp(previous->key(), &delivered.back()[2], previous->keyLength), 0);
      }
      delivered.push_back(entryOf(entry));
      return 0;
    };
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
        const Runs runs = makeRuns(count, entries, kind, random);
        BlockSource source(runs);
        MergeRun run(BlockSource::next);
        ASSERT_EQ(run.merge(count), sortedEntries(runs)) << count << " runs, keys of kind " << kind;
      }
    }
  }
}

TEST(Merge, TellsKeysApartThatDifferVeryLate) {
  std::mt19937 random(14);
  Runs runs(3);
  for (uint32_t at = 0; at < 60; ++at) {
    std::vector<uint32_t> fields(farthestDifference + 8, 7);
    fields[farthestDifference - 4 + random() % 12] = random() % 4;
    runs[random() % 3].push_back(makeEntry(fields, at));
  }
  for (std::vector<Entry>& entries : runs) std::sort(entries.begin(), entries.end(), isBelow);
  BlockSource source(runs);
  MergeRun run(BlockSource::next);
  EXPECT_EQ(run.merge(3), sortedEntries(runs));
}

}  // namespace
