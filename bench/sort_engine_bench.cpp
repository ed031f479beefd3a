// The sort of one buffer beside std::sort of the same table of offsets, and of pairs of first key word and
// offset; the compare loop beside memcmp of byte strings; the tree of losers beside std::priority_queue.
#include <benchmark/benchmark.h>
#include <string.h>

#include <algorithm>
#include <queue>
#include <random>
#include <vector>

#include "sort/engine/entry.h"
#include "sort/engine/in_memory_sort.h"
#include "sort/engine/loser_tree.h"

namespace {

using namespace qrt::sort;

enum KeyKind { text, few, equal, sorted, reversed };

// Entries of 98-byte lines under keys of ten characters, as an extraction leaves them.
struct Buffer {
  static constexpr size_t fieldWords = 3, keyWords = fieldWords + 2, entryWords = 2 + keyWords + 25;
  std::vector<uint32_t> words;
  std::vector<uint32_t> offsets;

  Buffer(size_t count, int64_t kind, uint32_t seed) : words(count * entryWords), offsets(count) {
    std::mt19937 random(seed);
    for (size_t at = 0; at < count; ++at) {
      uint32_t* const entry = &words[at * entryWords];
      entry[0] = keyWords * 4;
      entry[1] = 98;
      const size_t place = kind == reversed ? count - at : at;
      char key[13] = "";
      for (char* letter = key; letter < key + 10; ++letter) *letter = static_cast<char>('a' + random() % 26);
      if (kind == few) snprintf(key, sizeof key, "%010d", int(random() % 20) * 7919);
      if (kind == equal) memset(key, 'k', 10);
      if (kind == sorted || kind == reversed) snprintf(key, sizeof key, "%010d", int(place));
      for (size_t word = 0; word < fieldWords; ++word) {
        memcpy(&entry[2 + word], key + word * 4, 4);
        entry[2 + word] = __builtin_bswap32(entry[2 + word]);
      }
      entry[2 + fieldWords] = 0;
      entry[3 + fieldWords] = static_cast<uint32_t>(at);
      offsets[count - 1 - at] = static_cast<uint32_t>(at * entryWords * 4 + keyOffset);
    }
  }
  const uint8_t* bytes() const { return reinterpret_cast<const uint8_t*>(words.data()); }
  const uint32_t* key(uint32_t offset) const { return reinterpret_cast<const uint32_t*>(bytes() + offset); }
};

// So many different buffers that no predictor of branches learns them by heart.
struct Buffers {
  std::vector<Buffer> buffers;
  size_t at = 0;

  explicit Buffers(const benchmark::State& state) {
    const auto rows = static_cast<size_t>(state.range(0));
    for (size_t number = 0; number * rows < 40000; ++number)
      buffers.emplace_back(rows, state.range(1), static_cast<uint32_t>(number));
  }
  const Buffer& next() { return buffers[at++ % buffers.size()]; }
};

void BM_Sort(benchmark::State& state) {
  Buffers buffers(state);
  const auto rows = static_cast<size_t>(state.range(0));
  std::vector<uint8_t> storage(sortWorkAreaBytes(rows));
  SortWorkArea work = layOutSortWorkArea(storage.data(), rows);
  std::vector<uint32_t> table;
  for (auto _ : state) {
    const Buffer& buffer = buffers.next();
    table = buffer.offsets;
    Sort(buffer.bytes(), table, work);
    benchmark::DoNotOptimize(table.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_StdSortOffsets(benchmark::State& state) {
  Buffers buffers(state);
  std::vector<uint32_t> table;
  for (auto _ : state) {
    const Buffer& buffer = buffers.next();
    table = buffer.offsets;
    std::sort(table.begin(), table.end(), [&](uint32_t left, uint32_t right) {
      return left != right && keyIsBelow(buffer.key(left), buffer.key(right));
    });
    benchmark::DoNotOptimize(table.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_StdSortPairs(benchmark::State& state) {
  Buffers buffers(state);
  std::vector<SortRow> rows(static_cast<size_t>(state.range(0)));
  std::vector<uint32_t> table(rows.size());
  for (auto _ : state) {
    const Buffer& buffer = buffers.next();
    for (size_t at = 0; at < rows.size(); ++at)
      rows[at] = {*buffer.key(buffer.offsets[at]), buffer.offsets[at]};
    std::sort(rows.begin(), rows.end(), [&](const SortRow& left, const SortRow& right) {
      if (left.word != right.word) return left.word < right.word;
      return left.offset != right.offset &&
             keyIsBelow(buffer.key(left.offset) + 1, buffer.key(right.offset) + 1);
    });
    for (size_t at = 0; at < rows.size(); ++at) table[at] = rows[at].offset;
    benchmark::DoNotOptimize(table.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void sizesAndKeys(benchmark::internal::Benchmark* benchmark) {
  for (const int64_t count : {200, 1500, 30000, 40000})
    for (const int64_t kind : {text, few, equal, sorted, reversed})
      if (kind == text || count == 1500 || count == 200) benchmark->Args({count, kind});
  benchmark->ArgNames({"rows", "keys"});
}

BENCHMARK(BM_Sort)->Apply(sizesAndKeys);
BENCHMARK(BM_StdSortOffsets)->Apply(sizesAndKeys);
BENCHMARK(BM_StdSortPairs)->Apply(sizesAndKeys);

// Pairs of keys that differ in word 0, 1, ... 4.
void BM_Compare(benchmark::State& state) {
  std::mt19937 random(1);
  std::vector<uint32_t> keys(1024 * 5, 0x61616161);
  for (size_t at = 0; at < 1024; ++at)
    keys[at * 5 + static_cast<size_t>(state.range(0))] = uint32_t(random());
  uint32_t below = 0;
  for (auto _ : state) {
    for (size_t at = 0; at + 1 < 1024; ++at) below += keyIsBelow(&keys[at * 5], &keys[at * 5 + 5]);
    benchmark::DoNotOptimize(below);
  }
  state.SetItemsProcessed(state.iterations() * 1023);
}
BENCHMARK(BM_Compare)->DenseRange(0, 4, 2);

void BM_CompareMemcmp(benchmark::State& state) {
  std::mt19937 random(1);
  std::vector<uint32_t> keys(1024 * 5, 0x61616161);
  for (size_t at = 0; at < 1024; ++at)
    keys[at * 5 + static_cast<size_t>(state.range(0))] = uint32_t(random());
  size_t length = 20;
  benchmark::DoNotOptimize(length);
  uint32_t below = 0;
  for (auto _ : state) {
    for (size_t at = 0; at + 1 < 1024; ++at) below += memcmp(&keys[at * 5], &keys[at * 5 + 5], length) < 0;
    benchmark::DoNotOptimize(below);
  }
  state.SetItemsProcessed(state.iterations() * 1023);
}
BENCHMARK(BM_CompareMemcmp)->DenseRange(0, 4, 2);

// A buffer's entries in order, dealt out to runs that lie one after the other.
struct Runs {
  std::vector<std::vector<uint32_t>> runs;
  int64_t entries;

  explicit Runs(const benchmark::State& state) : runs(static_cast<size_t>(state.range(0))), entries(50000) {
    std::mt19937 random(3);
    const Buffer buffer(static_cast<size_t>(entries), state.range(1), 1);
    std::vector<uint32_t> table = buffer.offsets;
    std::sort(table.begin(), table.end(), [&](uint32_t left, uint32_t right) {
      return left != right && keyIsBelow(buffer.key(left), buffer.key(right));
    });
    for (const uint32_t offset : table) {
      std::vector<uint32_t>& run = runs[random() % runs.size()];
      const uint32_t* const entry = buffer.key(offset) - 2;
      run.insert(run.end(), entry, entry + Buffer::entryWords);
    }
  }
  MergeNode node(size_t run) const {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(runs[run].data());
    return {bytes, bytes + runs[run].size() * 4, true, static_cast<int32_t>(run)};
  }
};

void BM_LoserTree(benchmark::State& state) {
  const Runs runs(state);
  LoserTree tree;
  for (auto _ : state) {
    tree.count = static_cast<int32_t>(runs.runs.size());
    for (size_t run = 0; run < runs.runs.size(); ++run) tree.nodes[run] = runs.node(run);
    tree.build();
    uint32_t sum = 0;
    while (tree.winner() != usedUp) {
      MergeNode& node = tree.winnerNode();
      const SortEntry* const entry = node.entry();
      sum = sum * 31 + entry->keyWords()[Buffer::keyWords - 1];
      node.moveOn();
      tree.replay(node.cursor == node.end
                      ? usedUp
                      : contenderBehind(entry->keyWords(), node.entry()->keyWords(), nodeOf(tree.winner())));
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * runs.entries);
}

void BM_PriorityQueue(benchmark::State& state) {
  const Runs runs(state);
  const auto isAbove = [](const MergeNode* left, const MergeNode* right) {
    return left != right && keyIsBelow(right->entry()->keyWords(), left->entry()->keyWords());
  };
  for (auto _ : state) {
    std::vector<MergeNode> nodes;
    for (size_t run = 0; run < runs.runs.size(); ++run) nodes.push_back(runs.node(run));
    std::priority_queue<MergeNode*, std::vector<MergeNode*>, decltype(isAbove)> queue(isAbove);
    for (MergeNode& node : nodes) queue.push(&node);
    uint32_t sum = 0;
    while (!queue.empty()) {
      MergeNode& node = *queue.top();
      queue.pop();
      sum = sum * 31 + node.entry()->keyWords()[Buffer::keyWords - 1];
      node.cursor += node.entry()->size();
      if (node.cursor != node.end) queue.push(&node);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * runs.entries);
}

void runsAndKeys(benchmark::internal::Benchmark* benchmark) {
  for (const int64_t count : {2, 16, 256})
    for (const int64_t kind : {text, few, equal}) benchmark->Args({count, kind});
  benchmark->ArgNames({"runs", "keys"});
}

BENCHMARK(BM_LoserTree)->Apply(runsAndKeys);
BENCHMARK(BM_PriorityQueue)->Apply(runsAndKeys);

}  // namespace
