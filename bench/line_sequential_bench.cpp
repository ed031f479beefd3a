// READ and WRITE of 80-byte lines over 100 MB, beside a plain loop of fgets and fwrite over the same file.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

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

// One line sequential file in one program, as the compiler lays them out.
struct Program {
  uint8_t area[32 + lineLength + 2 + 64] = {};
  uint8_t* recordArea = area;
  char status[2] = {};
  uint8_t* statusBase = reinterpret_cast<uint8_t*>(status);
  uint8_t* noArea = nullptr;
  QrtFileDescription description{};
  QrtFcb file{};
  QrtFcb* files[1] = {&file};
  QrtFileDescription* descriptions[1] = {&description};
  QrtProgramEntry entry{};
  QrtProgramBlock block{};

  Program() {
    description.fileIndex = 1;
    description.organization = QRT_ORGANIZATION_LINE_SEQUENTIAL;
    description.accessMode = 0x80;
    description.attributes = QRT_FILE_ASSIGN_TEXT;
    description.maxRecord = lineLength;
    description.assignName = fileName.c_str();
    description.assignLength = static_cast<uint16_t>(fileName.size());
    description.recordAreaSlot = &recordArea;
    description.statusBase = &statusBase;
    description.status2Base = &noArea;
    file.advanceLines = 1;
    file.recordLength = lineLength;
    entry.files = files;
    entry.fileCount = 1;
    block.entries = &entry;
    block.fileDescriptions = descriptions;
    block.name = "BENCH";
    block.nameLength = 5;
    block.yearWindow = QRT_NO_YEAR_WINDOW;
    _qrtPgmInit(&block);
  }
  ~Program() { _qrtPgmTerm(&block); }

  void open(uint16_t mode) {
    file.openRequest = mode;
    file.openRoutine(&file, &entry);
  }
  void close() { file.closeRoutine(&file, &entry); }
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
    for (;;) {
      program.file.readRoutine(&program.file, &program.entry);
      if (program.status[0] != '0') break;
      ++count;
    }
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
      program.file.writeRoutine(&program.file, &program.entry);
    }
    program.close();
    if (program.status[0] != '0') state.SkipWithError("a record wasn't written");
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
