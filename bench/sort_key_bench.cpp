// Extraction of a block of records with their keys, by the record, beside the same byte by byte.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "sort/engine/entry_copy.h"
#include "sort/engine/extract.h"
#include "sort/engine/memory_sizes.h"
#include "sort/engine/parse.h"
#include "sort/engine/plain_keys.h"
#include "sort/engine/records.h"

namespace {

using namespace qrt::sort;

enum Form { lines, packedAndChar, threeZoned };

constexpr const char* options[] = {
    "-k 1,1",
    "-x 'format char 20 packed 8 char 12 char 60' -k 2,2 -k 3,3",
    "-x 'format zoned 9 zoned 7 char 40 zoned 15 char 29' -k 1,1 -k 4r,4 -k 2,2",
};

std::string makeBlock(int64_t form, size_t count) {
  std::mt19937_64 random(7);
  std::string block;
  char text[128];
  for (size_t at = 0; at < count; ++at) {
    switch (form) {
      case lines:
        for (int letter = 0; letter < 10; ++letter) text[letter] = static_cast<char>('!' + random() % 90);
        snprintf(text + 10, sizeof text - 10, " %087d\n", static_cast<int>(at));
        block += text;
        break;
      case packedAndChar: {
        block += std::string(20, ' ');
        uint64_t digits = random() % 1000000000;
        char packed[8];
        for (int byte = 7; byte >= 0; --byte) {
          packed[byte] =
              static_cast<char>(digits % 10 << 4 | (byte == 7 ? 0xC + random() % 2 : digits / 10 % 10));
          digits /= byte == 7 ? 10 : 100;
        }
        block.append(packed, 8);
        block += "ABCDEFGHIJKL" + std::string(60, 'x');
        break;
      }
      default:
        snprintf(text, sizeof text, "%09d%07d%40s%015d%29s", static_cast<int>(random() % 1000000000),
                 static_cast<int>(random() % 10000000), "", static_cast<int>(random() % 1000000000), "");
        block += text;
        break;
    }
  }
  return block;
}

struct Engine {
  BufferRow source[2] = {}, target[2] = {};
  uint8_t byte = 0;
  SortSession* session;
  InputRun run{};
  std::vector<uint32_t> storage;

  explicit Engine(int64_t form) {
    int32_t code;
    session = makeSession(code);
    source[0] = target[0] = {&byte, 1, 0};
    EngineArguments arguments;
    arguments.text = options[form];
    arguments.sources = source;
    arguments.targets = target;
    if (prepare(*session, arguments) != 0) abort();
    session->work = session->memory.make<SortWorkState>();
    if (MemManageInit(*session) != 0 || InitExtract(*session) != 0) abort();
    storage.resize(static_cast<size_t>(session->work->sizes.sortBuffer + copySlack) / 4 + 1);
    run.sources = session->options->sources.rows;
    run.sortBuffer.start = reinterpret_cast<uint8_t*>(storage.data());
  }
  ~Engine() {
    freeRecords(*session);
    freeSession(session);
  }

  // Fills the S_buf with the block's records; returns how many there were.
  size_t fill(std::string& block) {
    run.cursor = reinterpret_cast<uint8_t*>(block.data());
    run.limit = run.cursor + block.size();
    SortBuffer& buffer = run.sortBuffer;
    buffer.cursor = buffer.start;
    buffer.limit = buffer.start + session->work->sizes.sortBuffer;
    buffer.tableTop = reinterpret_cast<uint32_t*>(buffer.limit);
    Extract(*session, run);
    return buffer.table().size();
  }
};

constexpr size_t recordCount = 1000;

void BM_Extract(benchmark::State& state) {
  Engine engine(state.range(0));
  std::string block = makeBlock(state.range(0), recordCount);
  for (auto _ : state)
    if (engine.fill(block) != recordCount) abort();
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(recordCount));
}

// The same entries by the plain builder.
size_t plainFill(int64_t form, std::string_view block, std::vector<uint32_t>& storage) {
  size_t to = 0, count = 0;
  while (!block.empty()) {
    std::string_view record = block.substr(0, form == lines ? block.find('\n') + 1 : 100);
    plain::Key key;
    if (form == lines) key.addLineField(record.substr(0, record.find(' ')));
    if (form == packedAndChar) key.addPacked(record.substr(20, 8)), key.addBytes(record.substr(28, 12));
    if (form == threeZoned) {
      key.addZoned(record.substr(0, 9));
      key.addZoned(record.substr(56, 15));
      key.addZoned(record.substr(9, 7));
    }
    const std::vector<uint32_t> words = key.words(static_cast<uint32_t>(count++));
    storage[to++] = static_cast<uint32_t>(words.size() * 4);
    storage[to++] = static_cast<uint32_t>(record.size());
    memcpy(&storage[to], words.data(), words.size() * 4);
    to += words.size();
    memcpy(&storage[to], record.data(), record.size());
    to += (record.size() + 3) / 4;
    block.remove_prefix(record.size());
  }
  return count;
}

void BM_ExtractPlain(benchmark::State& state) {
  const std::string block = makeBlock(state.range(0), recordCount);
  std::vector<uint32_t> storage(recordCount * 64);
  for (auto _ : state)
    if (plainFill(state.range(0), block, storage) != recordCount) abort();
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(recordCount));
}

// What no extraction can do without: the block is looked through and copied.
void BM_CopyOnly(benchmark::State& state) {
  const std::string block = makeBlock(state.range(0), recordCount);
  std::string copy(block.size(), 0);
  for (auto _ : state) {
    for (size_t at = 0; at < block.size();) {
      const size_t end = block.find('\n', at);
      const size_t length = state.range(0) == lines ? end + 1 - at : 100;
      memcpy(copy.data() + at, block.data() + at, length);
      at += length;
    }
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(recordCount));
}

BENCHMARK(BM_Extract)->DenseRange(lines, threeZoned);
BENCHMARK(BM_ExtractPlain)->DenseRange(lines, threeZoned);
BENCHMARK(BM_CopyOnly)->Arg(lines);

}  // namespace
