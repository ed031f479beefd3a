// The main job over 1,000,000 records as a whole process, beside the same report in plain C with stdio and
// _Decimal128. The input is made once, in the folder for temporary files.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <string>

namespace {

const std::string programs = QRT_BUILD_DIRECTORY "/bin/";

const std::string& input() {
  static const std::string path = [] {
    const char* folder = getenv("TMPDIR");
    std::string file = std::string(folder != nullptr ? folder : "/tmp") + "/strikes-1000000.csv";
    struct stat found;
    if (stat(file.c_str(), &found) != 0) {
      const std::string command =
          programs + "generate_strikes 1000000 < " QRT_SOURCE_DIRECTORY "/samples/strikes/strikes.csv > " +
          file + ".part && mv " + file + ".part " + file;
      if (system(command.c_str()) != 0) abort();
    }
    return file;
  }();
  return path;
}

void runJob(benchmark::State& state, const std::string& program) {
  setenv("STRIKES", input().c_str(), 1);
  setenv("REPORT", "/dev/null", 1);
  for (auto _ : state) {
    const std::string command = program + " >/dev/null 2>&1";
    const auto start = std::chrono::steady_clock::now();
    const int code = system(command.c_str());
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (code != 0) state.SkipWithError("the program failed");
  }
}

void BM_MainJob(benchmark::State& state) {
  setenv("COBRTOPT", "UPSI=10000000", 1);  // without operators, sorting and XML, as the peer
  runJob(state, programs + "qrtrun " QRT_BUILD_DIRECTORY "/samples/STRIKES.dll");
}
void BM_PlainC(benchmark::State& state) {
  runJob(state, QRT_BUILD_DIRECTORY "/bench/main_job_plain");
}

BENCHMARK(BM_MainJob)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(7);
BENCHMARK(BM_PlainC)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(7);

}  // namespace
