// READ and WRITE of record files, 100-byte fixed records, through the control block: a sequential file of 100
// MB beside fread and fwrite of 100 bytes, and READ by relative key at random beside pread of the same bytes.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "file_program.h"

using qrt::FileProgram;

namespace {

constexpr uint32_t recordLength = 100;
constexpr uint32_t recordCount = 100'000'000 / recordLength;
constexpr uint32_t randomReads = 1'000'000;
constexpr uint32_t slotLength = 4 + recordLength;

std::string nameOf(const char* file) {
  const char* folder = getenv("TMPDIR");
  return std::string(folder != nullptr ? folder : "/tmp") + "/record_file_bench." + file;
}

void fillRecord(uint8_t* record, uint32_t number) {
  memset(record, 'a' + static_cast<int>(number % 26), recordLength);
}

struct Program : FileProgram {
  Program(uint8_t organization, std::string assigned)
      : FileProgram(std::move(assigned), organization, QRT_ACCESS_SEQUENTIAL, recordLength) {}
};

constexpr uint16_t input = QRT_OPEN_INPUT | QRT_OPEN_CAN_READ;
constexpr uint16_t output = QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE;

bool writeAll(Program& program) {
  program.open(output);
  for (uint32_t number = 0; number < recordCount; ++number) {
    fillRecord(program.file.record, number);
    program.write();
  }
  return program.close();
}

void writePlain(const std::string& name) {
  FILE* stream = fopen(name.c_str(), "w");
  uint8_t record[recordLength];
  for (uint32_t number = 0; number < recordCount; ++number) {
    fillRecord(record, number);
    fwrite(record, 1, recordLength, stream);
  }
  fclose(stream);
}

void finish(benchmark::State& state, const std::string& name) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * recordCount * recordLength);
  remove(name.c_str());
}

void BM_Read(benchmark::State& state) {
  Program program(QRT_ORGANIZATION_SEQUENTIAL, nameOf("sequential"));
  writeAll(program);
  for (auto _ : state) {
    program.open(input);
    uint32_t count = 0;
    while (program.read()) ++count;
    if (count != recordCount) state.SkipWithError("records are missing");
    program.close();
  }
  finish(state, program.name);
}
BENCHMARK(BM_Read)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadPeer(benchmark::State& state) {
  const std::string name = nameOf("plain");
  writePlain(name);
  for (auto _ : state) {
    FILE* stream = fopen(name.c_str(), "r");
    uint8_t record[recordLength];
    uint32_t count = 0;
    while (fread(record, 1, recordLength, stream) == recordLength) ++count;
    if (count != recordCount) state.SkipWithError("records are missing");
    fclose(stream);
  }
  finish(state, name);
}
BENCHMARK(BM_ReadPeer)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Write(benchmark::State& state) {
  Program program(QRT_ORGANIZATION_SEQUENTIAL, nameOf("sequential"));
  for (auto _ : state) {
    remove(program.name.c_str());
    if (!writeAll(program)) state.SkipWithError("a record wasn't written");
  }
  finish(state, program.name);
}
BENCHMARK(BM_Write)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_WritePeer(benchmark::State& state) {
  const std::string name = nameOf("plain");
  for (auto _ : state) {
    remove(name.c_str());
    writePlain(name);
  }
  finish(state, name);
}
BENCHMARK(BM_WritePeer)->Unit(benchmark::kMillisecond)->UseRealTime();

// Record numbers from 1, the same each time.
const std::vector<uint32_t>& someNumbers() {
  static const std::vector<uint32_t> numbers = [] {
    std::vector<uint32_t> drawn(randomReads);
    uint32_t seed = 1;
    for (uint32_t& number : drawn) number = 1 + (seed = seed * 1664525 + 1013904223) / 4096 % recordCount;
    return drawn;
  }();
  return numbers;
}

void BM_ReadByKey(benchmark::State& state) {
  Program program(QRT_ORGANIZATION_RELATIVE, nameOf("relative"));
  writeAll(program);
  program.description.accessMode = QRT_ACCESS_RANDOM;
  program.open(input);
  for (auto _ : state)
    for (const uint32_t number : someNumbers()) {
      program.described.relativeKey.value = number;
      if (!program.read()) state.SkipWithError("a record is missing");
    }
  program.close();
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * randomReads);
  remove(program.name.c_str());
}
BENCHMARK(BM_ReadByKey)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadByKeyPeer(benchmark::State& state) {
  const std::string name = nameOf("plain");
  writePlain(name);
  const int file = open(name.c_str(), O_RDONLY);
  uint8_t record[slotLength];
  for (auto _ : state)
    for (const uint32_t number : someNumbers())
      if (pread(file, record, recordLength, static_cast<off_t>(number - 1) * recordLength) != recordLength)
        state.SkipWithError("a record is missing");
  close(file);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * randomReads);
  remove(name.c_str());
}
BENCHMARK(BM_ReadByKeyPeer)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
