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

// One record file in one program, as the compiler lays them out.
struct Program {
  std::string name;
  uint8_t area[32 + recordLength + 2] = {};
  uint8_t* recordArea = area;
  char status[2] = {};
  uint8_t* statusBase = reinterpret_cast<uint8_t*>(status);
  uint8_t* noArea = nullptr;
  struct {
    QrtFileDescription description;
    QrtRelativeKey key;
  } described{};
  QrtFcb file{};
  QrtFcb* files[1] = {&file};
  QrtFileDescription* descriptions[1] = {&described.description};
  QrtProgramEntry entry{};
  QrtProgramBlock block{};

  Program(uint8_t organization, uint8_t access, std::string assigned) : name(std::move(assigned)) {
    QrtFileDescription& description = described.description;
    description.fileIndex = 1;
    description.organization = organization;
    description.accessMode = access;
    description.recordFormat = QRT_RECORD_FIXED;
    description.attributes = QRT_FILE_ASSIGN_TEXT;
    description.maxRecord = recordLength;
    description.assignName = name.c_str();
    description.assignLength = static_cast<uint16_t>(name.size());
    description.recordAreaSlot = &recordArea;
    description.statusBase = &statusBase;
    description.status2Base = &noArea;
    if (organization == QRT_ORGANIZATION_RELATIVE) description.relativeKeyOffset = sizeof(description);
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
  void read() { file.readRoutine(&file, &entry); }
  void write() { file.writeRoutine(&file, &entry); }
  void close() { file.closeRoutine(&file, &entry); }
  bool failed() const { return status[0] != '0'; }
};

constexpr uint16_t input = QRT_OPEN_INPUT | QRT_OPEN_CAN_READ;
constexpr uint16_t output = QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE;

void writeAll(Program& program) {
  program.open(output);
  for (uint32_t number = 0; number < recordCount; ++number) {
    fillRecord(program.file.record, number);
    program.write();
  }
  program.close();
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
  Program program(QRT_ORGANIZATION_SEQUENTIAL, QRT_ACCESS_SEQUENTIAL, nameOf("sequential"));
  writeAll(program);
  for (auto _ : state) {
    program.open(input);
    uint32_t count = 0;
    for (program.read(); !program.failed(); program.read()) ++count;
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
  Program program(QRT_ORGANIZATION_SEQUENTIAL, QRT_ACCESS_SEQUENTIAL, nameOf("sequential"));
  for (auto _ : state) {
    remove(program.name.c_str());
    writeAll(program);
    if (program.failed()) state.SkipWithError("a record wasn't written");
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
  Program program(QRT_ORGANIZATION_RELATIVE, QRT_ACCESS_SEQUENTIAL, nameOf("relative"));
  writeAll(program);
  program.described.description.accessMode = QRT_ACCESS_RANDOM;
  program.open(input);
  for (auto _ : state)
    for (const uint32_t number : someNumbers()) {
      program.described.key.value = number;
      program.read();
      if (program.failed()) state.SkipWithError("a record is missing");
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
