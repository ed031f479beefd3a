// INSPECT beside the loops that a C or C++ programmer would write instead.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t longItem = 65536;
constexpr char lower[] = "abcdefghijklmnopqrstuvwxyz";
constexpr char upper[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr char shuffled[] = "QWERTYUIOPASDFGHJKLZXCVBNM";

// Lower-case letters with a few digits; `rare` stands in the text once in about 4096 bytes.
std::string text(const char* rare) {
  std::mt19937 random(1);
  std::string made;
  while (made.size() < longItem) {
    made += random() % 6 == 0 ? static_cast<char>('0' + random() % 10) : lower[random() % 26];
    if (random() % 4096 == 0) made += rare;
  }
  made.resize(longItem);
  return made;
}

QrtInspectOperand operand(const char* bytes, uint8_t phraseFlags = 0) {
  return {0, 0, 0, phraseFlags, static_cast<int32_t>(strlen(bytes)), const_cast<char*>(bytes)};
}

struct Statement {
  struct {
    int32_t phraseCount;
    QrtInspectOperand item;
    QrtInspectPhrase phrases[3];
  } block;

  explicit Statement(std::string& item)
      : block{0, {0, 0, 0, 0, static_cast<int32_t>(item.size()), item.data()}, {}} {}
  void tally(const char* compared, uint32_t& counter) {
    block.phrases[block.phraseCount++] = {
        {0, 0, 0, QRT_INSPECT_TALLYING, sizeof counter, &counter}, operand(compared), {}, {}};
  }
  void add(uint8_t flags, const char* compared, const char* replacement) {
    block.phrases[block.phraseCount++] = {operand(replacement, flags), operand(compared), {}, {}};
  }
  void run() { _qrtcInspect(reinterpret_cast<const QrtInspectBlock*>(&block)); }
};

uint32_t countByMemchr(const std::string& item, char wanted) {
  uint32_t count = 0;
  const char* const end = item.data() + item.size();
  for (const char* at = item.data(); (at = static_cast<const char*>(memchr(at, wanted, end - at))) != nullptr;
       ++at)
    ++count;
  return count;
}

// One character: once in about 4096, and one in 31 as in a text.
void BM_TallyOne(benchmark::State& state, const char* wanted) {
  std::string item = text("#");
  uint32_t count = 0;
  Statement statement(item);
  statement.tally(wanted, count);
  for (auto _ : state) statement.run();
  if (count != countByMemchr(item, wanted[0]) * static_cast<uint32_t>(state.iterations()))
    state.SkipWithError("wrong count");
}
BENCHMARK_CAPTURE(BM_TallyOne, rare, "#");
BENCHMARK_CAPTURE(BM_TallyOne, usual, "e");

void BM_Memchr(benchmark::State& state, char wanted) {
  const std::string item = text("#");
  for (auto _ : state) benchmark::DoNotOptimize(countByMemchr(item, wanted));
}
BENCHMARK_CAPTURE(BM_Memchr, rare, '#');
BENCHMARK_CAPTURE(BM_Memchr, usual, 'e');

// The replacement is the same text again, so that each run finds as much.
void BM_ReplaceFive(benchmark::State& state) {
  std::string item = text("rare!");
  Statement statement(item);
  statement.add(QRT_INSPECT_REPLACING, "rare!", "rare!");
  for (auto _ : state) statement.run();
}
BENCHMARK(BM_ReplaceFive);

void BM_Memmem(benchmark::State& state) {
  std::string item = text("rare!");
  char* const end = item.data() + item.size();
  for (auto _ : state) {
    for (char* at = item.data(); (at = static_cast<char*>(memmem(at, end - at, "rare!", 5))) != nullptr;
         at += 5)
      memcpy(at, "rare!", 5);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Memmem);

// Letters to a shuffled alphabet, and to upper case; turned round each time, so that there is always work.
void BM_Convert(benchmark::State& state, const char* alphabet) {
  std::string item = text("");
  Statement there(item), back(item);
  there.add(QRT_INSPECT_CONVERTING, lower, alphabet);
  back.add(QRT_INSPECT_CONVERTING, alphabet, lower);
  bool turned = false;
  for (auto _ : state) {
    (turned ? back : there).run();
    turned = !turned;
  }
}
BENCHMARK_CAPTURE(BM_Convert, shuffled, shuffled);
BENCHMARK_CAPTURE(BM_Convert, upper, upper);

__attribute__((noinline, optimize("O2"))) void byTable(uint8_t* bytes, size_t length, const uint8_t* table) {
  for (size_t at = 0; at < length; ++at) bytes[at] = table[bytes[at]];
}

void BM_Table(benchmark::State& state) {
  std::string item = text("");
  uint8_t table[2][256];
  for (auto& one : table)
    for (size_t byte = 0; byte < 256; ++byte) one[byte] = static_cast<uint8_t>(byte);
  for (size_t at = 0; at < 26; ++at) {
    table[0][static_cast<uint8_t>(lower[at])] = static_cast<uint8_t>(shuffled[at]);
    table[1][static_cast<uint8_t>(shuffled[at])] = static_cast<uint8_t>(lower[at]);
  }
  bool turned = false;
  for (auto _ : state) {
    byTable(reinterpret_cast<uint8_t*>(item.data()), item.size(), table[turned]);
    benchmark::ClobberMemory();
    turned = !turned;
  }
}
BENCHMARK(BM_Table);

// Names of 20 bytes, some of them with what the three phrases look for.
std::vector<std::string> fields() {
  std::mt19937 random(2);
  std::vector<std::string> made(1024);
  for (std::string& field : made) {
    for (size_t size = 6 + random() % 12; field.size() < size;) field += lower[random() % 26];
    if (random() % 2 == 0) field[random() % 4] = '-';
    if (random() % 2 == 0) field.replace(4, 2, ", ");
    field.resize(20, ' ');
  }
  return made;
}

void BM_ShortField(benchmark::State& state) {
  const std::vector<std::string> source = fields();
  std::string item(20, ' ');
  uint32_t count = 0;
  Statement statement(item);
  statement.tally("a", count);
  statement.add(QRT_INSPECT_REPLACING, "-", "/");
  statement.add(QRT_INSPECT_REPLACING, ", ", "; ");
  size_t at = 0;
  for (auto _ : state) {
    memcpy(item.data(), source[at++ % source.size()].data(), 20);
    statement.run();
    benchmark::ClobberMemory();
  }
  benchmark::DoNotOptimize(count);
}
BENCHMARK(BM_ShortField);

void BM_ShortString(benchmark::State& state) {
  const std::vector<std::string> source = fields();
  std::string item(20, ' ');
  const std::string counted = "a", dash = "-", slash = "/", comma = ", ", semicolon = "; ";
  uint32_t count = 0;
  size_t at = 0;
  const auto replace = [&](const std::string& wanted, const std::string& replacement) {
    for (size_t found = 0; (found = item.find(wanted, found)) != item.npos; found += wanted.size())
      item.replace(found, wanted.size(), replacement);
  };
  for (auto _ : state) {
    memcpy(item.data(), source[at++ % source.size()].data(), 20);
    for (size_t found = 0; (found = item.find(counted, found)) != item.npos; found += counted.size()) ++count;
    replace(dash, slash);
    replace(comma, semicolon);
    benchmark::ClobberMemory();
  }
  benchmark::DoNotOptimize(count);
}
BENCHMARK(BM_ShortString);

}  // namespace
