// STRING and UNSTRING of lines and fields beside the calls that a C programmer would use.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <string.h>

#include <algorithm>
#include <random>

namespace {

constexpr size_t lines = 256, lineLength = 80, fields = 8, fieldLength = 12;

// Lines of 80 characters in eight fields of different lengths, and the same fields padded with blanks.
struct Lines {
  char text[lines][lineLength + 1];
  char padded[lines][fields][fieldLength];

  Lines() {
    std::mt19937 random(1);
    for (size_t line = 0; line < lines; ++line) {
      // Seven commas and 73 letters: lengths of 6 to 12 that add up.
      size_t lengths[fields], letters = lineLength - (fields - 1);
      std::fill_n(lengths, fields, 6);
      for (letters -= 6 * fields; letters > 0;)
        if (size_t& length = lengths[random() % fields]; length < fieldLength) ++length, --letters;
      char* to = text[line];
      for (size_t field = 0; field < fields; ++field) {
        memset(padded[line][field], ' ', fieldLength);
        for (size_t at = 0; at < lengths[field]; ++at)
          *to++ = padded[line][field][at] = static_cast<char>('a' + random() % 26);
        *to++ = field + 1 < fields ? ',' : '\0';
      }
    }
  }
};

const Lines data;

const uint8_t* bytes(const char* text) {
  return reinterpret_cast<const uint8_t*>(text);
}

void BM_Unstring(benchmark::State& state) {
  uint8_t items[fields][fieldLength];
  QrtUnstringReceiver receivers[fields] = {};
  for (size_t field = 0; field < fields; ++field) {
    receivers[field].data = items[field];
    receivers[field].length = fieldLength;
  }
  QrtUnstringBlock block = {};
  block.sourceLength = lineLength;
  block.delimiterCount = 1;
  block.receiverCount = fields;
  block.delimiters[0] = {bytes(","), 1, 0};
  uint32_t overflow = 1;
  size_t line = 0;
  for (auto _ : state) {
    block.source = bytes(data.text[line++ % lines]);
    _qrtcUnString(&block, receivers, nullptr, &overflow);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Unstring);

void BM_Unstring_Strsep(benchmark::State& state) {
  char items[fields][fieldLength];
  benchmark::DoNotOptimize(&items);
  size_t line = 0;
  for (auto _ : state) {
    char scratch[lineLength + 1];  // strsep writes into its text
    memcpy(scratch, data.text[line++ % lines], sizeof scratch);
    char* rest = scratch;
    for (char* item : items) {
      const char* const field = strsep(&rest, ",");
      if (field == nullptr) break;
      const size_t length = rest != nullptr ? static_cast<size_t>(rest - field - 1) : strlen(field);
      const size_t piece = std::min(length, fieldLength);
      memcpy(item, field, piece);
      memset(item + piece, ' ', fieldLength - piece);
    }
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Unstring_Strsep);

void BM_String(benchmark::State& state) {
  struct {
    QrtStringBlock block;
    QrtStringField more[fields - 1];
  } statement = {};
  uint8_t target[lineLength];
  QrtStringBlock& block = statement.block;
  block.target = target;
  block.targetLength = lineLength;
  block.groupCount = 1;
  block.groups[0].delimiter = bytes(" ");
  block.groups[0].delimiterLength = 1;
  block.groups[0].fieldCount = fields;
  uint32_t overflow = 1;
  size_t line = 0;
  for (auto _ : state) {
    const auto& row = data.padded[line++ % lines];
    QrtStringField* field = block.groups[0].fields;
    for (const char* text : row) *field++ = {bytes(text), fieldLength};
    _qrtcString(&block, nullptr, &overflow);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_String);

void BM_String_Memchr(benchmark::State& state) {
  char target[lineLength];
  benchmark::DoNotOptimize(&target);
  size_t line = 0;
  bool overflow = false;
  for (auto _ : state) {
    size_t at = 0;
    for (const auto& text : data.padded[line++ % lines]) {
      const auto* const end = static_cast<const char*>(memchr(text, ' ', fieldLength));
      const size_t length = end != nullptr ? static_cast<size_t>(end - text) : fieldLength;
      const size_t piece = std::min(length, lineLength - at);
      memcpy(target + at, text, piece);
      at += piece;
      overflow |= piece < length;
    }
    benchmark::ClobberMemory();
  }
  benchmark::DoNotOptimize(overflow);
}
BENCHMARK(BM_String_Memchr);

}  // namespace
