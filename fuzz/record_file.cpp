// Arbitrary bytes as a sequential or relative file: OPEN takes it or refuses it, statements on it end with a
// status of theirs and write nothing outside of the record area, and a reader leaves the file as it was.
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "../bench/file_program.h"

namespace {

constexpr uint32_t longest = 24;
constexpr uint8_t guard = 0xA5;

// One program with one file, entered once, and guard bytes behind its record.
struct Program : qrt::FileProgram {
  Program()
      : FileProgram(std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/record_file_fuzz." +
                        std::to_string(getpid()),
                    QRT_ORGANIZATION_SEQUENTIAL, QRT_ACCESS_SEQUENTIAL, longest, 2 + 8) {}
  ~Program() { remove(name.c_str()); }

  void perform(QrtFileRoutine verb) {
    FileProgram::perform(verb);
    if (file.status < 0 || file.status > 99 || file.status != (status[0] - '0') * 10 + status[1] - '0')
      abort();
    if (std::any_of(area.begin() + 32 + longest, area.end(), [](uint8_t byte) { return byte != guard; }))
      abort();
  }
};

std::string contentOf(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// A statement by number.
void perform(Program& program, uint8_t choice) {
  QrtFcb& file = program.file;
  file.statementFlags = choice % 2 != 0 ? QRT_STATEMENT_READ_NEXT : 0;
  file.startRelation = choice / 8 % 6;
  file.recordLength = choice / 8;
  program.described.relativeKey.value = choice / 16;
  const QrtFileRoutine verbs[] = {file.readRoutine,  file.readRoutine,  file.readRoutine,
                                  file.readRoutine,  file.startRoutine, file.rewriteRoutine,
                                  file.writeRoutine, file.deleteRoutine};
  program.perform(verbs[choice % 8]);
}

}  // namespace

// The first byte says what the program takes the file for, the eight behind it which statements it performs;
// all else is the file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Program program;
  constexpr size_t statements = 8;
  if (size <= statements) return 0;
  const uint8_t kind = data[0];
  const std::string content(data + 1 + statements, data + size);
  std::ofstream(program.name, std::ios::binary) << content;

  QrtFileDescription& description = program.description;
  description.organization = kind % 2 != 0 ? QRT_ORGANIZATION_RELATIVE : QRT_ORGANIZATION_SEQUENTIAL;
  description.recordFormat = kind / 2 % 2 != 0 ? QRT_RECORD_VARIABLE : QRT_RECORD_FIXED;
  description.minRecord = kind / 2 % 2 != 0 ? 2 : longest;
  description.accessMode = kind / 4 % 2 != 0 ? QRT_ACCESS_DYNAMIC : QRT_ACCESS_SEQUENTIAL;
  constexpr uint16_t modes[] = {QRT_OPEN_INPUT | QRT_OPEN_CAN_READ, QRT_OPEN_EXTEND | QRT_OPEN_CAN_WRITE,
                                QRT_OPEN_IO | QRT_OPEN_CAN_READ | QRT_OPEN_CAN_WRITE | QRT_OPEN_CAN_REWRITE,
                                QRT_OPEN_INPUT | QRT_OPEN_CAN_READ};
  const uint16_t mode = modes[kind / 8 % 4];

  QrtFcb& file = program.file;
  std::fill(program.area.begin() + 32 + longest, program.area.end(), guard);
  file.openRequest = mode;
  program.perform(file.openRoutine);
  if (file.openState == 0) return 0;
  for (size_t at = 1; at <= statements; ++at) perform(program, data[at]);
  // To the end, which comes: each READ passes at least the length of a record.
  while (file.status < 10) perform(program, 1);
  program.perform(file.closeRoutine);
  if ((mode & QRT_OPEN_INPUT) != 0 && contentOf(program.name) != content) abort();
  return 0;
}
