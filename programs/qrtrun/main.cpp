// qrtrun: runs a compiled main program from a module, as the start-up code of a program of its own would.
#include <qrtrlib.h>
#include <stdlib.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "find.h"

namespace {

constexpr const char* footer = R"(
MODULE is a path or a bare name; a bare name is looked for in the current directory, in those of COBPATH, then
beside qrtrun and along PATH. ".dll" may be left out. ENTRY is the routine of the main program: by default the
base name of the module, as it stands or in upper case. What follows "--" goes to the program, by the address of
a QrtMainArguments.

Environment: COBPATH, the directories of called programs, is set to that of the module when it is unset; NLSPATH,
the templates of message catalogues, to the installed ones. COBRTOPT and the others are the library's own.

Exit code: that of the program (STOP RUN, or its result); 2 for wrong arguments, 126 for a module that cannot be
loaded, 127 for a module or entry that is not found.)";

struct Arguments {
  std::string module, entry, path, options;
  std::vector<char*> forProgram;
};

// Takes what stands behind "--" off the command line.
Arguments cutProgramArguments(int& count, char** words) {
  Arguments arguments;
  char** const end = words + count;
  char** const dashes = std::find_if(words, end, [](const char* word) { return std::string(word) == "--"; });
  if (dashes != end) arguments.forProgram.assign(dashes + 1, end);
  count = static_cast<int>(dashes - words);
  return arguments;
}

void setUnlessSet(const char* variable, const std::string& value) {
  if (!value.empty()) setenv(variable, value.c_str(), 0);
}

// The catalogues of the installation that this program belongs to; empty when they aren't there.
std::string templatesOfCatalogues() {
  std::error_code failure;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", failure);
  const auto share = program.parent_path().parent_path() / "share/qrtrlib";
  if (!std::filesystem::exists(share / "qrtremsg.cat", failure)) return "";
  return (share / "%l/%n").string() + ";" + (share / "%n").string();
}

void prepareEnvironment(const Arguments& arguments, const std::string& modulePath) {
  if (!arguments.options.empty()) setenv("COBRTOPT", arguments.options.c_str(), 1);
  const auto directory = std::filesystem::absolute(modulePath).lexically_normal().parent_path();
  setUnlessSet("COBPATH", directory.string());
  setUnlessSet("NLSPATH", templatesOfCatalogues());
}

// STOP RUN comes back by the jump buffer, 255 standing for a code of 0; GOBACK by the routine's result.
int32_t runToItsEnd(int32_t (*entry)(void*), QrtMainArguments* arguments) {
  constexpr int32_t jumpValueOfZero = 255;
  const int32_t code = qrtSetJump(&_qrtJmpCobStart);
  if (code == 0) return _qrtCallMain(entry, arguments);
  return code == jumpValueOfZero ? 0 : code;
}

// Of a code beyond eight bits the system keeps the low ones; a failure must not read as success.
int exitCodeOf(int32_t code) {
  return code != 0 && (code & 0xFF) == 0 ? 255 : code & 0xFF;
}

int run(Arguments arguments) {
  if (!arguments.path.empty()) setenv("COBPATH", arguments.path.c_str(), 1);
  const qrt::run::MainProgram program = qrt::run::loadMainProgram(arguments.module, arguments.entry);
  prepareEnvironment(arguments, program.path);
  auto& texts = arguments.forProgram;
  QrtMainArguments forProgram = {static_cast<int32_t>(texts.size()), texts.data()};
  return exitCodeOf(runToItsEnd(program.entry, &forProgram));
}

}  // namespace

int main(int count, char** words) {
  Arguments arguments = cutProgramArguments(count, words);
  CLI::App app("Runs a compiled main program from a module and ends with its code.", "qrtrun");
  app.footer(footer);
  app.set_version_flag("-V,--version", "qrtrun " QRT_VERSION);
  app.add_option("MODULE", arguments.module, "the module that holds the main program")->required();
  app.add_option("ENTRY", arguments.entry, "the routine of the main program");
  app.add_option("-p,--path", arguments.path, "directories of called programs, separated by \";\": COBPATH");
  app.add_option("-o,--options", arguments.options, "run-time options, separated by commas: COBRTOPT");
  try {
    app.parse(count, words);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : qrt::run::usageError;
  }
  try {
    return run(std::move(arguments));
  } catch (const qrt::run::Failure& failure) {
    std::cerr << "qrtrun: " << failure.what() << "\n";
    return failure.exitCode;
  }
}
