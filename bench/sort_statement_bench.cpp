// SORT with INPUT and OUTPUT PROCEDURE, 1,000,000 records of 80 bytes through RELEASE and RETURN, beside
// std::stable_sort of an array of such records and the copies into it and out of it.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int32_t recordLength = 80, keyLength = 10;
constexpr size_t recordCount = 1'000'000;

struct Record {
  char bytes[recordLength];
};

const std::vector<Record>& records() {
  static const std::vector<Record> made = [] {
    std::mt19937 random(1);
    std::vector<Record> all(recordCount);
    for (Record& record : all) {
      memset(record.bytes, 'x', recordLength);
      for (int32_t place = 0; place < keyLength; ++place)
        record.bytes[place] = static_cast<char>('0' + random() % 10);
    }
    return all;
  }();
  return made;
}

// Fails the benchmark unless the keys ascend.
struct OrderCheck {
  char last[keyLength] = {};
  bool good = true;

  void see(const Record& record) {
    good &= memcmp(last, record.bytes, keyLength) <= 0;
    memcpy(last, record.bytes, keyLength);
  }
};

void finish(benchmark::State& state, const OrderCheck& check) {
  if (!check.good) state.SkipWithError("not in order");
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(recordCount));
}

void BM_SortStatement(benchmark::State& state) {
  QrtProgramEntry entry{};
  QrtProgramBlock block{};
  block.entries = &entry;
  block.name = "BENCH";
  block.nameLength = 5;
  block.yearWindow = QRT_NO_YEAR_WINDOW;
  if (qrtSetJump(&_qrtJmpCobStart) != 0) return state.SkipWithError("the run ended");
  _qrtPgmInit(&block);

  int16_t sortReturn = -1, failed = 0;
  const QrtSortRegisters registers = {&sortReturn, 1, 0, 0, &entry};
  const QrtSortRecordSpec form = {QRT_SORT_FIXED, recordLength, recordLength};
  QrtSortKeySpec key = {nullptr, 0, keyLength, QRT_SORT_KEY_CHAR, QRT_SORT_ASCENDING};
  QrtSortKeyList keys = {1, &key, 0};
  const QrtSortFileList noFiles = {};
  OrderCheck check;
  const std::vector<Record>& all = records();
  for (auto _ : state) {
    check = {};
    _qrtSortMerge(QRT_SORT_START, &registers, &form, nullptr, "", &noFiles, &noFiles, &keys);
    Record area;
    for (const Record& record : all) {
      area = record;
      _qrtRelease(recordLength, reinterpret_cast<const uint8_t*>(area.bytes), &failed);
    }
    _qrtSortMerge(QRT_SORT_RELEASED, &registers, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    size_t count = 0;
    int32_t length;
    for (int16_t atEnd = 0; _qrtReturn(&length, reinterpret_cast<uint8_t*>(area.bytes), &atEnd), atEnd == 0;
         ++count)
      check.see(area);
    check.good &= sortReturn == 0 && failed == 0 && count == recordCount;
  }
  finish(state, check);
  _qrtPgmTerm(&block);
}

void BM_StableSort(benchmark::State& state) {
  OrderCheck check;
  const std::vector<Record>& all = records();
  for (auto _ : state) {
    check = {};
    std::vector<Record> table;
    table.reserve(recordCount);
    Record area;
    for (const Record& record : all) {
      area = record;
      benchmark::DoNotOptimize(area);
      table.push_back(area);
    }
    std::ranges::stable_sort(table, [](const Record& left, const Record& right) {
      return memcmp(left.bytes, right.bytes, keyLength) < 0;
    });
    for (const Record& record : table) {
      area = record;
      benchmark::DoNotOptimize(area);
      check.see(area);
    }
  }
  finish(state, check);
}

BENCHMARK(BM_SortStatement)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_StableSort)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
