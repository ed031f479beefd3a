// qrtcat, the command-line program that turns a readable message source into a catalogue file.
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "catalogue/compile.h"

namespace {

enum ExitCode { done = 0, badSource = 1, badFile = 2 };

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

void complainAboutFile(const std::string& name) {
  fprintf(stderr, "qrtcat: %s: %s\n", name.c_str(), strerror(errno));
}

bool readFile(const std::string& name, std::string& content) {
  const File file(fopen(name.c_str(), "rb"));
  if (!file) return false;
  char buffer[16384];
  while (const size_t length = fread(buffer, 1, sizeof buffer, file.get())) content.append(buffer, length);
  return ferror(file.get()) == 0;
}

// Leaves no cut file behind.
bool writeFile(const std::string& name, const std::vector<uint8_t>& image) {
  File file(fopen(name.c_str(), "wb"));
  if (!file) return false;
  const bool written = fwrite(image.data(), 1, image.size(), file.get()) == image.size();
  if (fclose(file.release()) == 0 && written) return true;
  const int fault = errno;
  std::error_code ignored;
  if (std::filesystem::is_regular_file(name, ignored)) std::filesystem::remove(name, ignored);
  errno = fault;
  return false;
}

ExitCode translate(const std::string& sourceName, const std::string& outputName) {
  std::string source;
  if (!readFile(sourceName, source)) {
    complainAboutFile(sourceName);
    return badFile;
  }
  const qrt::catalogue::Compilation compilation = qrt::catalogue::compile(source);
  for (const auto& error : compilation.errors)
    fprintf(stderr, "%s:%zu: error: %s\n", sourceName.c_str(), error.line, error.text.c_str());
  if (!compilation.errors.empty()) return badSource;
  if (!writeFile(outputName, compilation.image)) {
    complainAboutFile(outputName);
    return badFile;
  }
  return done;
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): only a wrong definition of the options throws past CLI11_PARSE
int main(int count, char** arguments) {
  CLI::App program("Compiles a message source into a catalogue file.", "qrtcat");
  std::string sourceName;
  std::string outputName;
  program.add_option("SOURCE", sourceName, "message source")->required();
  program.add_option("-o,--output", outputName, "catalogue file to write")->required()->type_name("OUTPUT");
  program.set_version_flag("--version", "qrtcat " QRT_VERSION);
  program.footer(
      "Exit code: 0 done, 1 errors in the source, 2 a file that can't be read or written,\n"
      "100 and above wrong arguments.");
  CLI11_PARSE(program, count, arguments);
  return translate(sourceName, outputName);
}
