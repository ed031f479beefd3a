// Blocks of records through the extraction of the engine, without its input and output.
#pragma once

#include <numeric>

#include "fixture.h"
#include "sort/engine/entry.h"
#include "sort/engine/entry_copy.h"

namespace qrt::test {

// A record as it was stored, with its key as words.
struct Stored {
  std::vector<uint32_t> key;
  std::string record;
  std::vector<uint32_t> entry;  // all of it
};

struct Extraction : Prepared {
  static constexpr size_t guardSize = sort::copySlack + 17;

  sort::InputRun run{};
  std::vector<uint32_t> storage;
  size_t room = 0;

  // `roomFor` is the size of the S_buf in longest records; 0 takes the engine's own.
  explicit Extraction(const std::string& text, int32_t roomFor = 0) : Prepared(text) {
    start();
    if (code != 0) return;
    const sort::MemorySizes& sizes = session->work->sizes;
    room = static_cast<size_t>(roomFor == 0 ? sizes.sortBuffer : roomFor * (sizes.entryBound + 4)) & ~3U;
    storage.assign((room + guardSize) / 4 + 1, 0xA5A5A5A5);
    run.sources = options().sources.rows;
    run.sortBuffer.start = reinterpret_cast<uint8_t*>(storage.data());
    restart();
  }

  const sort::RunCounters& counters() { return session->run->counters; }
  bool isCopy() { return options().mainFunction == sort::MainFunction::copy; }

  void restart() {
    run.sortBuffer.cursor = run.sortBuffer.start;
    run.sortBuffer.limit = run.sortBuffer.start + room;
    const bool keepsTable = options().mainFunction == sort::MainFunction::sort;
    run.sortBuffer.tableTop = keepsTable ? reinterpret_cast<uint32_t*>(run.sortBuffer.limit) : nullptr;
  }

  // All records of the block, through as many fillings of the S_buf as it takes; for copy one after the
  // other, without keys. Nothing may be read behind the block or written behind the S_buf.
  std::vector<Stored> extract(const std::string& text) {
    std::vector<Stored> all;
    std::vector<uint8_t> block(text.begin(), text.end());
    run.cursor = block.data();
    run.limit = block.data() + block.size();
    for (;;) {
      const uint8_t* const before = run.cursor;
      const sort::Extracted extracted = Extract(*session, run);
      take(all);
      if ((code = extracted.failure) != 0 || extracted.state != sort::Extracted::isFull) break;
      if (run.cursor == before && all.empty()) ADD_FAILURE() << "an empty buffer is full";
      if (run.cursor == before) break;
    }
    return all;
  }

  // The records of the block behind one another.
  std::string extracted(const std::string& block) {
    std::string all;
    for (const Stored& stored : extract(block)) all += stored.record;
    return all;
  }

  void take(std::vector<Stored>& all) {
    const uint8_t* at = run.sortBuffer.start;
    if (isCopy())
      all.push_back({{}, std::string(at, static_cast<const uint8_t*>(run.sortBuffer.cursor)), {}});
    while (!isCopy() && at < run.sortBuffer.cursor) {
      const auto* const entry = reinterpret_cast<const sort::SortEntry*>(at);
      all.push_back(
          {{entry->keyWords(), entry->keyWords() + entry->keyLength / 4},
           {entry->record(), entry->record() + entry->recordLength},
           {reinterpret_cast<const uint32_t*>(at), reinterpret_cast<const uint32_t*>(at + entry->size())}});
      for (const uint8_t* pad = entry->record() + entry->recordLength; pad < at + entry->size(); ++pad)
        EXPECT_EQ(*pad, 0);
      at += entry->size();
    }
    EXPECT_LE(run.sortBuffer.cursor, run.sortBuffer.limit);
    const auto table = run.sortBuffer.table();
    for (size_t row = 0; row < table.size(); ++row) {
      const auto* const entry =
          reinterpret_cast<const sort::SortEntry*>(run.sortBuffer.start + table[row] - 8);
      EXPECT_EQ(all[all.size() - 1 - row].key.back(), entry->keyWords()[entry->keyLength / 4 - 1]);
    }
    const auto* const end = reinterpret_cast<const uint8_t*>(storage.data() + storage.size());
    for (const uint8_t* guard = run.sortBuffer.start + room + sort::copySlack; guard < end; ++guard)
      EXPECT_EQ(*guard, 0xA5) << "written behind the buffer";
    restart();
  }
};

// The numbers of `count` things in a stable order by `isLess`.
template <typename IsLess>
std::vector<size_t> stableOrder(size_t count, IsLess isLess) {
  std::vector<size_t> order(count);
  std::iota(order.begin(), order.end(), size_t{0});
  std::ranges::stable_sort(order, isLess);
  return order;
}

// The numbers of the records in the order of their keys.
inline std::vector<size_t> orderOf(const std::vector<Stored>& all) {
  return stableOrder(all.size(), [&](size_t left, size_t right) { return all[left].key < all[right].key; });
}

}  // namespace qrt::test
