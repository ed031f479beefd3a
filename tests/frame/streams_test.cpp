// The standard COBOL files: which variable names them, how they are opened, what stands in for them.

#include <fstream>
#include <iterator>

#include "support/process.h"

using namespace qrt::test;

namespace {

const struct Row {
  char letter;  // "S" for the stream that the process opens by itself
  FILE* QrtProcessRecord::*stream;
  std::vector<const char*> variables;  // the first one with a value wins
  FILE* fallback;
  const char* content;  // of a file that held "old", once "new" was written to it
} rows[] = {
    {'S', &QrtProcessRecord::sysoutFile, {"SYSOUT", "SYSLIST", "SYSLST"}, stdout, "oldnew"},
    {'M', &QrtProcessRecord::messageFile, {"COBMSGS"}, stderr, "new"},
    {'P', &QrtProcessRecord::syspunchFile, {"SYSPUNCH", "SYSPCH"}, nullptr, "new"},
    {'D', &QrtProcessRecord::consoleOutFile, {"CONSOLE"}, stdout, "oldnew"},
    {'I', &QrtProcessRecord::sysinFile, {"SYSIN", "SYSIPT"}, stdin, "old"},
    {'A', &QrtProcessRecord::consoleInFile, {"CONSOLE"}, stdin, "old"},
};

// Behind the variables one by one: none has a value, and the first one names what can't be opened.
TEST(Streams, VariablesAndFallback) {
  const std::string path = testing::TempDir() + "qrtrlib-streams", nowhere = path + "/none";
  for (const Row& row : rows)
    for (size_t named = 0; named < row.variables.size() + 2; ++named) {
      const bool opens = named < row.variables.size();
      std::ofstream(path) << "old";
      const Ended ended = inChild([&] {
        for (size_t at = 0; at < row.variables.size(); ++at)
          setenv(row.variables[at],
                 (at == named                                  ? path
                  : at > named || named > row.variables.size() ? nowhere
                                                               : "")
                     .c_str(),
                 1);
        _qrtPgmInit(nullptr);
        _qrtEnvNameInit(row.letter);
        FILE* const stream = _qrtProccom->*row.stream;
        _qrtEnvNameInit(row.letter);
        EXPECT_EQ(_qrtProccom->*row.stream, stream);
        if (opens && (row.fallback == stdin ? getc(stream) != 'o' : fputs("new", stream) < 0))
          puts("unusable");
        EXPECT_EQ(stream == row.fallback, !opens);
        _qrtCleanUp();
        if (!opens) fputs("still open", stdout);
        fflush(stdout);
        _exit(0);  // what wasn't closed is lost
      });
      std::ifstream file(path);
      const std::string content{std::istreambuf_iterator<char>(file), {}};
      EXPECT_EQ(content, opens ? row.content : "old") << row.letter << named;
      EXPECT_EQ(ended.out, opens ? "" : "still open") << row.letter << named;
    }
}

}  // namespace
