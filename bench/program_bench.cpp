// Programs found by name: CALL of one that the run unit knows, and loads served by the program cache, beside
// the look-up of a ready key in std::unordered_map.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr int32_t programs = 200;
constexpr size_t calls = 1024;

// Names as programs have them, 6 to 30 bytes, and the order in which they are called.
struct Names {
  std::vector<std::string> all;
  std::vector<uint32_t> order;

  Names() {
    std::mt19937 random(1);
    for (int32_t number = 0; number < programs; ++number) {
      std::string name = "PAY" + std::to_string(100 + number);
      for (uint32_t more = random() % 4 * (random() % 9); more > 0; --more)
        name += static_cast<char>(more % 5 == 0 ? '-' : 'A' + random() % 26);
      all.push_back(name.substr(0, 30));
    }
    for (size_t call = 0; call < calls; ++call) order.push_back(random() % programs);
  }
};

const Names names;
QrtProgramEntry entry;
QrtProgramBlock block;

// A run unit that knows all programs.
void startRunUnit() {
  if (_qrtRuncom != nullptr) return;
  block.entries = &entry;
  block.name = "MAIN";
  block.nameLength = 4;
  block.yearWindow = QRT_NO_YEAR_WINDOW;
  _qrtPgmInit(&block);
  for (const std::string& name : names.all) _qrtCreateInsertPLLE(name.data(), name.size(), &entry, nullptr);
}

// In fields of `width` bytes, filled up with blanks; 0 for the name's own length.
void callOfKnownName(benchmark::State& state) {
  startRunUnit();
  const auto width = static_cast<size_t>(state.range(0));
  std::vector<std::string> fields = names.all;
  for (std::string& field : fields) field.resize(std::max(width, field.size()), ' ');
  const QrtCallTable table = {};
  uint32_t exceptions = 0;
  size_t call = 0;
  for (auto _ : state) {
    const std::string& field = fields[names.order[call++ % calls]];
    benchmark::DoNotOptimize(
        _qrtDynLd(&table, static_cast<int32_t>(field.size()), field.data(), &block, nullptr, &exceptions));
  }
}
BENCHMARK(callOfKnownName)->Name("BM_Call_KnownName")->Arg(0)->Arg(30);

void BM_UnorderedMap_Find(benchmark::State& state) {
  std::unordered_map<std::string, void*> map;
  for (const std::string& name : names.all) map[name] = &entry;
  size_t call = 0;
  for (auto _ : state) benchmark::DoNotOptimize(map.find(names.all[names.order[call++ % calls]])->second);
}
BENCHMARK(BM_UnorderedMap_Find);

}  // namespace
