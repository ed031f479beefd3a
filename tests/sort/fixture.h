// What tests of the engine share: a folder of their own, sessions over an option text, and runs from file to
// file whose sizes a test chooses.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "sort/engine/extract.h"
#include "sort/engine/main_functions.h"
#include "sort/engine/memory_sizes.h"
#include "sort/engine/messages.h"
#include "sort/engine/parse.h"
#include "sort/engine/records.h"
#include "sort/engine/runs.h"
#include "sort/engine/work_state.h"

namespace qrt::test {

using Records = std::vector<std::string>;

// The current directory while it lives, with a directory "temporary" in it; what is left in that at the end,
// or a thread, is a failure.
struct Folder {
  std::string path = std::filesystem::exists("/dev/shm") ? "/dev/shm/qrtXXXXXX" : "/tmp/qrtXXXXXX";

  Folder() {
    std::filesystem::current_path(mkdtemp(path.data()));
    std::filesystem::create_directory("temporary");
  }
  ~Folder() {
    std::filesystem::current_path("/");
    EXPECT_TRUE(std::filesystem::is_empty(path + "/temporary")) << "temporary files are left";
    for (int waits = 0; waits < 1000 && threads() > 1; ++waits) usleep(1000);  // to the last ones' end
    EXPECT_EQ(threads(), 1) << "a thread is left";
    std::filesystem::remove_all(path);
  }

  static ptrdiff_t threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  }

  static void write(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
  }
  static std::string read(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

inline std::string joined(const Records& records) {
  std::string all;
  for (const std::string& record : records) all += record;
  return all;
}

// Orders records by some of their bytes; equal ones stay as they are.
inline Records sortedBy(size_t offset, size_t length, Records records) {
  std::ranges::stable_sort(records, [&](const std::string& left, const std::string& right) {
    return left.compare(offset, length, right, offset, length) < 0;
  });
  return records;
}

inline int32_t noExit(sort::BufferRow*, sort::BufferRow*) {
  return 0;
}

// A session that lives as long as this object, its options read from `text` as a program gives them: with a
// source and a target buffer wherever `arguments` has no exit, unless files stand in the text.
struct Prepared {
  uint8_t bytes[2][4];
  sort::BufferRow source[2] = {{bytes[0], 4, 0}, {}};
  sort::BufferRow target[2] = {{bytes[1], 4, 0}, {}};
  std::string text, told;  // the option text, the text of the error
  int32_t code = 0;
  sort::SortSession* session = sort::makeSession(code);

  explicit Prepared(const std::string& options, sort::EngineArguments arguments = {}, bool ofFiles = false)
      : text(options) {
    arguments.text = text;
    arguments.errorCallback = [](sort::ErrorRecord* record) {
      *static_cast<std::string*>(record->context) = record->name;
    };
    arguments.callbackContext = &told;
    const bool hasBuffers = arguments.calledByProgram && !ofFiles;
    if (hasBuffers && arguments.inputExit == nullptr) arguments.sources = source;
    if (hasBuffers && arguments.outputExit == nullptr) arguments.targets = target;
    code = sort::prepare(*session, arguments);
  }
  ~Prepared() {
    if (session->work != nullptr) freeRecords(*session);
    sort::freeSession(session);
  }
  Prepared(const Prepared&) = delete;
  Prepared& operator=(const Prepared&) = delete;

  sort::SortOptions& options() { return *session->options; }

  // Goes on to where the main function starts. `adjust` may change the sizes.
  void start(const std::function<void(sort::MemorySizes&)>& adjust = [](sort::MemorySizes&) {}) {
    if (code != 0) return;
    session->work = session->memory.make<sort::SortWorkState>();
    if (code = MemManageInit(*session); code != 0) return;
    adjust(session->work->sizes);
    code = InitExtract(*session);
  }
};

}  // namespace qrt::test
