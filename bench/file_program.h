// A program with one file as a compiler lays them out: what stands around the statements of benchmarks and
// fuzz targets.
#pragma once

#include <qrtrlib.h>
#include <stddef.h>

#include <string>
#include <utility>
#include <vector>

namespace qrt {

// Entered when it is made, left at its end; it must not move. What isn't given is to be set before OPEN.
struct FileProgram {
  std::string name;           // of the file
  std::vector<uint8_t> area;  // 32 bytes of prefix, the record, and what is asked for behind it
  uint8_t* recordArea = area.data();
  char status[2] = {};
  uint8_t* statusBase = reinterpret_cast<uint8_t*>(status);
  uint8_t* noArea = nullptr;
  struct {
    QrtFileDescription file;
    QrtRelativeKey relativeKey;
    QrtFileKey keys[2];
  } described{};
  QrtFileDescription& description = described.file;
  QrtFcb file{};
  QrtFcb* files[1] = {&file};
  QrtFileDescription* descriptions[1] = {&description};
  QrtProgramEntry entry{};
  QrtProgramBlock block{};

  FileProgram(std::string assigned, uint8_t organization, uint8_t access, uint32_t length,
              uint32_t behind = 2)
      : name(std::move(assigned)), area(32 + length + behind) {
    description.fileIndex = 1;
    description.organization = organization;
    description.accessMode = access;
    description.recordFormat = QRT_RECORD_FIXED;
    description.attributes = QRT_FILE_ASSIGN_TEXT;
    description.maxRecord = description.minRecord = length;
    description.relativeKeyOffset = offsetof(decltype(described), relativeKey);
    description.keyBlockOffset = offsetof(decltype(described), keys);
    description.assignName = name.c_str();
    description.assignLength = static_cast<uint16_t>(name.size());
    description.recordAreaSlot = &recordArea;
    description.statusBase = &statusBase;
    description.status2Base = &noArea;
    entry.files = files;
    entry.fileCount = 1;
    entry.block = &block;
    block.entries = &entry;
    block.fileDescriptions = descriptions;
    block.name = "ONEFILE";
    block.nameLength = 7;
    block.yearWindow = QRT_NO_YEAR_WINDOW;
    _qrtPgmInit(&block);
  }
  FileProgram(const FileProgram&) = delete;
  FileProgram& operator=(const FileProgram&) = delete;
  ~FileProgram() { _qrtPgmTerm(&block); }

  // Each tells if its FILE STATUS begins with 0.
  bool perform(QrtFileRoutine verb) {
    verb(&file, &entry);
    return status[0] == '0';
  }
  bool open(uint16_t mode) {
    file.openRequest = mode;
    return perform(file.openRoutine);
  }
  bool read() { return perform(file.readRoutine); }
  bool write() { return perform(file.writeRoutine); }
  bool close() { return perform(file.closeRoutine); }
};

}  // namespace qrt
