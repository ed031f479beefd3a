// qrtrun: which module and entry it runs, and the codes by which it ends.

#include "program/modules.h"

using namespace qrt::test;

namespace {

TEST(Qrtrun, RunsAndEndsWithTheCode) {
  const std::string modules = QRT_BUILD_DIRECTORY "/tests/modules", called = routineName(3);
  const Folder folder;
  folder.addModule(called + ".dll");
  folder.addText("text.dll");
  std::filesystem::create_symlink(modules + "/main/mainprog.dll", folder.path + "/mainprog.dll");
  std::filesystem::create_symlink(modules + "/main/mainprog.dll", folder.path + "/other.dll");
  const std::string here = "COBPATH " + folder.path + "\n";
  const struct {
    std::string environment, arguments;
    int exitCode;
    std::string out, err = "";  // how they start
  } rows[] = {
      {"", "mainprog", 0, "0 arguments, " + here},
      {"", "mainprog.dll MAINPROG -- back 5", 5, "2 arguments, " + here},
      {"", "./other MAINPROG -- stop 8", 8, "2 arguments, " + here},
      {"", ".\\\\mainprog.dll -- stop 0", 0, "2 arguments, " + here},
      {"", folder.path + "/mainprog -- stop 256", 255, "2 arguments, " + here},
      {"", "mainprog -- -h -- --help", 0, "3 arguments, " + here},
      {"", "-p '/none;x' mainprog -- stop 1", 1, "2 arguments, COBPATH /none;x\n"},
      {"", "mainprog -- call " + called, 3, "2 arguments, " + here},
      {"", "mainprog -- call NONE", 3, "2 arguments, " + here, "QRT096S  CALL of program NONE"},
      {"", "-o ERRCOUNT=x mainprog", 0, "0 arguments", "QRT181"},
      {"COBPATH='/none;" + modules + "/programs'", "called_programs " + routineName(7), 7, ""},
      {"", "called_programs", 127, "", "qrtrun: module called_programs not found in the current directory"},
      {"PATH=$PATH:" + modules + "/programs", "called_programs P0", 0, ""},
      {"", "./none", 127, "", "qrtrun: module ./none not found.\n"},
      {"", "text", 126, "", "qrtrun: module ./text.dll cannot be loaded: ./text.dll: "},
      {"", "other", 127, "", "qrtrun: module ./other.dll has no entry other or OTHER.\n"},
      {"", "mainprog mainprog", 127, "", "qrtrun: module ./mainprog.dll has no entry mainprog.\n"},
      {"", "", 2, "", "MODULE is required"},
      {"", "--none mainprog", 2, "", "The following argument was not expected: --none"},
      {"", "--version", 0, "qrtrun "},
      {"", "--help", 0, "Runs a compiled main program"},
  };
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      const std::string command = "cd " + folder.path + " && exec env -u COBPATH -u NLSPATH " +
                                  row.environment + " " QRT_BUILD_DIRECTORY "/bin/qrtrun " + row.arguments;
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    });
    EXPECT_EQ(ended.exitCode, row.exitCode) << row.arguments << ended.err;
    EXPECT_EQ(ended.out.substr(0, row.out.size()), row.out) << row.arguments;
    EXPECT_EQ(ended.err.substr(0, row.err.size()), row.err) << row.arguments;
    EXPECT_EQ(ended.err.empty(), row.err.empty()) << ended.err;
  }
}

}  // namespace
