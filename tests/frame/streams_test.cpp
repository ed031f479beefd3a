// The standard COBOL files: which variable names them, how they are opened, what stands in for them.
#include <qrtrlib.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/process.h"

using namespace qrt::test;

namespace {

const std::string directory = std::filesystem::temp_directory_path() / "qrtrlib_streams";

std::string contentOf(const std::string& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void makeFile(const std::string& path, const char* content) {
  std::ofstream(path) << content;
}

struct Row {
  char letter;  // "S" for the stream that the process opens by itself
  FILE* QrtProcessRecord::*stream;
  std::vector<const char*> variables;  // the first one wins
  bool appends;
  FILE* fallback;
};

class Streams : public testing::Test {
 protected:
  const std::vector<Row> outputs = {
      {'S', &QrtProcessRecord::sysoutFile, {"SYSOUT", "SYSLIST", "SYSLST"}, true, stdout},
      {'M', &QrtProcessRecord::messageFile, {"COBMSGS"}, false, stderr},
      {'P', &QrtProcessRecord::syspunchFile, {"SYSPUNCH", "SYSPCH"}, false, nullptr},
      {'D', &QrtProcessRecord::consoleOutFile, {"CONSOLE"}, true, stdout},
  };
  const std::vector<Row> inputs = {
      {'I', &QrtProcessRecord::sysinFile, {"SYSIN", "SYSIPT"}, false, stdin},
      {'A', &QrtProcessRecord::consoleInFile, {"CONSOLE"}, false, stdin},
  };

  Streams() {
    std::filesystem::create_directories(directory);
    for (const auto& rows : {outputs, inputs})
      for (const Row& row : rows)
        for (const char* variable : row.variables) unsetenv(variable);
  }
  ~Streams() override { std::filesystem::remove_all(directory); }

  static FILE* opened(const Row& row) {
    _qrtPgmInit(nullptr);
    _qrtEnvNameInit(row.letter);
    return _qrtProccom->*row.stream;
  }
};

TEST_F(Streams, OutputsGoToTheFirstVariableThatIsSet) {
  for (const Row& row : outputs)
    for (size_t first = 0; first < row.variables.size(); ++first) {
      const std::string path = directory + "/out", other = directory + "/other";
      makeFile(path, "old ");
      makeFile(other, "other");
      const Ended ended = inChild([&] {
        if (first > 0) setenv(row.variables[0], "", 1);
        setenv(row.variables[first], (directory + "\\out").c_str(), 1);
        for (size_t later = first + 1; later < row.variables.size(); ++later)
          setenv(row.variables[later], other.c_str(), 1);
        FILE* const stream = opened(row);
        fputs("new", stream);
        _qrtEnvNameInit(row.letter);
        if (_qrtProccom->*row.stream != stream) puts("opened again");
        _qrtCleanUp();
        fputs(contentOf(path).c_str(), stdout);
      });
      EXPECT_EQ(ended.out, row.appends ? "old new" : "new") << row.letter << first;
      EXPECT_EQ(contentOf(other), "other");
    }
}

TEST_F(Streams, InputsComeFromTheFirstVariableThatIsSet) {
  for (const Row& row : inputs)
    for (const char* variable : row.variables) {
      const Ended ended = inChild([&] {
        makeFile(directory + "/in", "x");
        setenv(variable, (directory + "/in").c_str(), 1);
        putchar(getc(opened(row)));
      });
      EXPECT_EQ(ended.out, "x") << variable;
    }
}

TEST_F(Streams, StandardStreamsStandIn) {
  for (const auto& rows : {outputs, inputs})
    for (const Row& row : rows)
      for (const bool unopenable : {false, true}) {
        const Ended ended = inChild([&] {
          if (unopenable) setenv(row.variables[0], (directory + "/no/such").c_str(), 1);
          fputs(opened(row) == row.fallback ? "fallback " : "other ", stdout);
          _qrtCleanUp();
          fputs("still open", stdout);
        });
        EXPECT_EQ(ended.out, "fallback still open") << row.letter << unopenable;
      }
}

TEST_F(Streams, NothingIsOpenedWhileTheProcessIsDown) {
  for (const char letter : {'I', 'M', 'P', 'A', 'D', 'X'}) _qrtEnvNameInit(letter);
  EXPECT_EQ(_qrtProccom, nullptr);
}

}  // namespace
