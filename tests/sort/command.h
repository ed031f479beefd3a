// Runs of the engine over files of a test's own directory, as a command starts them.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>

#include "engine.h"
#include "sort/engine/extract.h"
#include "sort/engine/main_functions.h"
#include "sort/engine/memory_sizes.h"
#include "sort/engine/runs.h"
#include "sort/engine/work_state.h"

namespace qrt::test {

struct Directory {
  std::string path = std::filesystem::exists("/dev/shm") ? "/dev/shm/qrtXXXXXX" : "/tmp/qrtXXXXXX";

  Directory() { path = mkdtemp(path.data()); }
  ~Directory() { std::filesystem::remove_all(path); }
  std::string operator/(const char* name) const { return path + "/" + name; }
};

inline std::string contentOf(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

// Lines under keys of six digits, each with its number behind.
inline std::string makeLines(size_t count, uint32_t keys, size_t padding, std::mt19937& random) {
  std::string lines;
  for (size_t at = 0; at < count; ++at) {
    char line[32];
    snprintf(line, sizeof line, "%06u %07zu", static_cast<unsigned>(random() % keys), at);
    lines += line + std::string(padding, '.') + "\n";
  }
  return lines;
}

inline std::string sortedLines(const std::string& lines) {
  std::vector<std::string> all;
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) all.push_back(line + "\n");
  std::stable_sort(all.begin(), all.end(), [](const std::string& left, const std::string& right) {
    return left.compare(0, 6, right, 0, 6) < 0;
  });
  std::string sorted;
  for (const std::string& line : all) sorted += line;
  return sorted;
}

// Runs the engine as a command; `adjust` may change the sizes ahead of the run. `runs` gets the count of
// runs, those of merges included.
inline int32_t runCommand(
    const std::vector<std::string>& words,
    const std::function<void(sort::SortWorkState&)>& adjust = [](sort::SortWorkState&) {},
    int32_t* runs = nullptr) {
  std::vector<const char*> arguments;
  for (const std::string& word : words) arguments.push_back(word.c_str());
  int32_t code;
  sort::SortSession* const session = sort::makeSession(code);
  sort::EngineArguments command;
  command.calledByProgram = false;
  command.arguments = arguments;
  code = sort::prepare(*session, command);
  session->work = session->memory.make<sort::SortWorkState>();
  if (code == 0) code = sort::MemManageInit(*session);
  if (code == 0) adjust(*session->work);
  if (code == 0) code = sort::InitExtract(*session);
  if (code == 0) code = sort::makeTempDirectories(*session);
  if (code == 0) code = sort::LumasiftMain(*session);
  if (runs != nullptr) *runs = session->work->runCount;
  sort::removeTempDirectories(*session);
  sort::freeSession(session);
  return code;
}

}  // namespace qrt::test
