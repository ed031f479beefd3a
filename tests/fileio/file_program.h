// A compiled program with files: descriptions, control blocks, record and status areas as a compiler lays
// them out, with guard bytes around what the library writes.
#pragma once

#include <dlfcn.h>
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/allocation.h"
#include "support/process.h"
#include "support/program.h"

namespace qrt::test {

inline constexpr uint8_t guardByte = 0xEE;

// An area of `size` bytes between guards, and the word that a description points to.
struct GuardedArea {
  std::vector<uint8_t> bytes;
  uint8_t* base;

  explicit GuardedArea(size_t size) : bytes(size + 16, guardByte), base(bytes.data() + 8) {}
  GuardedArea(const GuardedArea&) = delete;

  std::string text() const { return {bytes.begin() + 8, bytes.end() - 8}; }
  bool guarded() const {
    const auto isGuard = [](uint8_t byte) { return byte == guardByte; };
    return std::all_of(bytes.begin(), bytes.begin() + 8, isGuard) &&
           std::all_of(bytes.end() - 8, bytes.end(), isGuard);
  }
};

struct File {
  QrtFileDescription description{};
  struct {
    QrtFcb block{};
    void* keys[8] = {};
  } own;
  std::string assignment;
  GuardedArea record;
  GuardedArea statusArea{2};
  GuardedArea extendedArea{24};
  QrtUsePair use[5] = {};

  // Assigned to a literal or data item of exactly that text, which is terminated.
  explicit File(std::string assigned, uint32_t length = 10,
                uint8_t organization = QRT_ORGANIZATION_LINE_SEQUENTIAL)
      : assignment(std::move(assigned)), record(32 + length + 2) {
    description.organization = organization;
    description.accessMode = 0x80;
    description.attributes = QRT_FILE_ASSIGN_TEXT;
    description.maxRecord = length;
    description.assignName = assignment.c_str();
    description.assignLength = static_cast<uint16_t>(assignment.size());
    description.recordAreaSlot = &record.base;
    description.statusBase = &statusArea.base;
    description.status2Base = &extendedArea.base;
    description.status2Length = 24;
    own.block.advanceLines = 1;
    own.block.recordLength = length;
  }
  File(const File&) = delete;

  void makeExternal(const char* name) {
    description.attributes |= QRT_FILE_EXTERNAL;
    strcpy(description.externalName, name);
  }
  void dropStatusAreas() { description.statusBase = description.status2Base = &noArea; }
  uint8_t* noArea = nullptr;

  std::string status() const { return statusArea.text(); }
};

inline constexpr uint16_t input = QRT_OPEN_INPUT | QRT_OPEN_CAN_READ;
inline constexpr uint16_t output = QRT_OPEN_OUTPUT | QRT_OPEN_CAN_WRITE;
inline constexpr uint16_t inputOutput =
    QRT_OPEN_IO | QRT_OPEN_CAN_READ | QRT_OPEN_CAN_WRITE | QRT_OPEN_CAN_REWRITE;
inline constexpr uint16_t extend = QRT_OPEN_EXTEND | QRT_OPEN_CAN_WRITE;

// A program whose file statements are calls of these; each returns FILE STATUS.
struct FileProgram : Program {
  std::vector<File*> described;

  FileProgram(const char* name, std::initializer_list<File*> declared) : Program(name), described(declared) {
    for (File* file : declared) {
      const bool external = (file->description.attributes & QRT_FILE_EXTERNAL) != 0;
      addFile(external ? nullptr : &file->own.block, &file->description);
      file->own.block.useTable = file->use;
    }
  }

  QrtFcb& fcb(size_t index = 0) { return *files[index]; }

  std::string open(uint16_t mode, size_t index = 0) {
    fcb(index).openRequest = mode;
    fcb(index).openRoutine(&fcb(index), entries.data());
    return described[index]->status();
  }
  std::string close(uint16_t flags = 0, size_t index = 0) {
    fcb(index).closeFlags = flags;
    fcb(index).closeRoutine(&fcb(index), entries.data());
    return described[index]->status();
  }
  std::string read(size_t index = 0) {
    fcb(index).readRoutine(&fcb(index), entries.data());
    return described[index]->status();
  }
  std::string write(const std::string& record, size_t index = 0) {
    memcpy(fcb(index).record, record.data(), record.size());
    fcb(index).recordLength = static_cast<uint32_t>(record.size());
    fcb(index).writeRoutine(&fcb(index), entries.data());
    return described[index]->status();
  }
  // The record as the program sees it.
  std::string record(size_t index = 0) {
    return {reinterpret_cast<char*>(fcb(index).record), described[index]->description.maxRecord};
  }
};

// A folder of the test's own, as current directory; gone afterwards.
class InFolder : public testing::Test {
 protected:
  InFolder() {
    std::string path = std::filesystem::temp_directory_path() / "qrtrlibXXXXXX";
    std::filesystem::current_path(mkdtemp(path.data()));
    folder = path;
    for (const char* variable : {"HELVA_CDS_ROOT", "TRAX_TK_KFS_SERVER", "COBRTOPT"}) unsetenv(variable);
  }
  ~InFolder() override {
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
  }
  std::filesystem::path folder;
};

inline std::string contentOf(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline void makeFile(const std::string& name, const std::string& content) {
  std::ofstream(name, std::ios::binary) << content;
}

// Where the scripted adapter (file system PLT) and a module that is none (NSD) lie.
inline const std::string adapterFolder = QRT_BUILD_DIRECTORY "/tests/modules/adapters";

using AdapterInit = void (*)(QrtFcb* file, QrtProgramEntry* program, int32_t code);

// Makes the scripted adapter findable, with `init` as its _IO_Init.
inline void scriptAdapter(AdapterInit init) {
  setenv("PATH", adapterFolder.c_str(), 1);
  void* module = dlopen((adapterFolder + "/qrtrfplt.dll").c_str(), RTLD_NOW);
  *static_cast<AdapterInit*>(dlsym(module, "scriptedInit")) = init;
}

}  // namespace qrt::test
