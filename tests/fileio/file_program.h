// A compiled program with files: descriptions, control blocks, record and status areas as a compiler lays
// them out, with guard bytes around what the library writes.
#pragma once

#include <dlfcn.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/program.h"

namespace qrt::test {

// An area of `size` bytes between guards, and the word that a description points to.
struct GuardedArea {
  const std::string guard = "guarding";
  std::string bytes;
  uint8_t* base;

  explicit GuardedArea(size_t size)
      : bytes(guard + std::string(size, '#') + guard), base(reinterpret_cast<uint8_t*>(&bytes[8])) {}
  GuardedArea(const GuardedArea&) = delete;

  // What is in the area now; a test fails that finds a guard broken.
  std::string text() const {
    EXPECT_TRUE(bytes.starts_with(guard) && bytes.ends_with(guard));
    return bytes.substr(8, bytes.size() - 16);
  }
};

using Texts = std::vector<std::string>;  // statuses and records of statements in turn

// Letters of the USE procedures that ran: for input, output, I-O, EXTEND and the file itself.
inline std::string used;
inline uint8_t verbSeen;          // the last operation as the last of them saw it
inline const QrtFcb* performing;  // the file of the statement that is performed

struct File {
  QrtFileDescription description{};
  QrtFcb own{};
  std::string assignment;
  GuardedArea record, statusArea{2}, extendedArea{24};
  uint8_t* noArea = nullptr;
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
    own.advanceLines = 1;
    own.useTable = use;
  }
  File(const File&) = delete;

  // Gives the file USE procedures of each mode.
  void noteUse() {
    for (int row = 0; row < 5; ++row)
      use[row] = {[](void* mode) { used += *static_cast<char*>(mode), verbSeen = performing->lastOperation; },
                  const_cast<char*>("ioxef" + row)};
  }

  void makeExternal() {
    description.attributes |= QRT_FILE_EXTERNAL;
    strcpy(description.externalName, "SHARED");
  }
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
    for (File* file : declared)
      addFile((file->description.attributes & QRT_FILE_EXTERNAL) != 0 ? nullptr : &file->own,
              &file->description);
  }

  QrtFcb& fcb(size_t index = 0) { return *files[index]; }

  std::string perform(QrtFileRoutine verb, size_t index = 0) {
    performing = &fcb(index);
    verb(&fcb(index), entries.data());
    return described[index]->statusArea.text();
  }
  std::string open(uint16_t mode, size_t index = 0) {
    fcb(index).openRequest = mode;
    return perform(fcb(index).openRoutine, index);
  }
  std::string close(uint16_t flags = 0, size_t index = 0) {
    fcb(index).closeFlags = flags;
    return perform(fcb(index).closeRoutine, index);
  }
  std::string read(size_t index = 0) { return perform(fcb(index).readRoutine, index); }
  std::string write(const std::string& record, size_t index = 0) {
    fcb(index).recordLength =
        static_cast<uint32_t>(record.copy(reinterpret_cast<char*>(fcb(index).record), 999));
    return perform(fcb(index).writeRoutine, index);
  }
  // The record as the program sees it.
  std::string record(size_t index = 0) {
    return {reinterpret_cast<char*>(fcb(index).record), described[index]->description.maxRecord};
  }
};

// A folder of the test's own, as current directory; gone afterwards.
struct InFolder : testing::Test {
  char folder[16] = "/tmp/qrtXXXXXX";
  const std::string path = getenv("PATH");

  InFolder() {
    std::filesystem::current_path(mkdtemp(folder));
    for (const char* variable :
         {"COBRTOPT", "HELVA_CDS_ROOT", "TRAX_TK_KFS_SERVER", "gdg_home", "QDBINSTANCE", "QDBDBDFT"})
      unsetenv(variable);
  }
  ~InFolder() override {
    setenv("PATH", path.c_str(), 1);
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
  }
};

inline std::string contentOf(const std::string& name) {
  std::ifstream stream(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline void makeFile(const std::string& name, const std::string& content) {
  std::ofstream(name, std::ios::binary) << content;
}

using AdapterInit = void (*)(QrtFcb* file, QrtProgramEntry* program, int32_t code);

// Makes the scripted adapter (file system PLT) findable, with `init` as its _IO_Init; the module of NSD
// beside it is no adapter.
inline void scriptAdapter(AdapterInit init) {
  const std::string modules = QRT_BUILD_DIRECTORY "/tests/modules/adapters";
  setenv("PATH", modules.c_str(), 1);
  void* module = dlopen((modules + "/qrtrfplt.dll").c_str(), RTLD_NOW);
  *static_cast<AdapterInit*>(dlsym(module, "scriptedInit")) = init;
}

}  // namespace qrt::test
