// READ and WRITE of 80-byte lines over 100 MB, beside a plain loop of fgets and fwrite over the same file.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "file_program.h"

using qrt::FileProgram;

namespace {

constexpr uint32_t lineLength = 80;
constexpr uint32_t lineCount = 100'000'000 / (lineLength + 1);
const std::string fileName = [] {
  const char* folder = getenv("TMPDIR");
  return std::string(folder != nullptr ? folder : "/tmp") + "/line_sequential_bench.txt";
}();

void fillLine(uint8_t* line, uint32_t number) {
  memset(line, 'a' + static_cast<int>(number % 26), lineLength);
}

struct Program : FileProgram {
  Program() : FileProgram(fileName, QRT_ORGANIZATION_LINE_SEQUENTIAL, QRT_ACCESS_SEQUENTIAL, lineLength) {
    description.minRecord = 0;
    file.recordLength = lineLength;
  }
};

void makeLines() {
  FILE* stream = fopen(fileName.c_str(), "w");
  uint8_t line[lineLength];
  for (uint32_t number = 0; number < lineCount; ++number) {
    fillLine(line, number);
    fwrite(line, 1, lineLength, stream);
    fputc('\n', stream);
  }
  fclose(stream);
}

void finish(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * lineCount * (lineLength + 1));
}

void BM_Read(benchmark::State& state) {
  makeLines();
  Program program;
  for (auto _ : state) {
    program.open(QRT_OPEN_INPUT | QRT_OPEN_CAN_READ);
    uint32_t count = 0;
    while (program.read()) ++count;
    if (count != lineCount) state.SkipWithError("lines are missing");
    program.close();
  }
  finish(state);
}
BENCHMARK(BM_Read)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadPeer(benchmark::State& state) {
  makeLines();
  for (auto _ : state) {
    FILE* stream = fopen(fileName.c_str(), "r");
    char line[lineLength + 2];
    uint32_t count = 0;
    while (fgets(line, sizeof(line), stream) != nullptr) ++count;
    if (count != lineCount) state.SkipWithError("lines are missing");
    fclose(stream);
  }
  finish(state);
}
BENCHMARK(BM_ReadPeer)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Write(benchmark::State& state) {
  Program program;
  for (auto _ : state) {
    program.open(QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE);
    for (uint32_t number = 0; number < lineCount; ++number) {
      fillLine(program.file.record, number);
      program.write();
    }
    if (!program.close()) state.SkipWithError("a record wasn't written");
  }
  finish(state);
}
BENCHMARK(BM_Write)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_WritePeer(benchmark::State& state) {
  for (auto _ : state) makeLines();
  finish(state);
}
BENCHMARK(BM_WritePeer)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
