// A table of 100,000 items as XML, beside a formatted print of each item with its text escaped by hand.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

namespace {

constexpr int32_t rows = 25000;

struct Row {
  char name[24], place[16], code[8], amount[8];  // the amount is packed; its text stands in the image
};
constexpr int32_t imageLength = 12;

struct Table {
  std::vector<Row> items = std::vector<Row>(rows);
  std::string image;

  Table() {
    setenv("LC_ALL", "C", 1);  // text in a single-byte page
    std::mt19937 random(1);
    for (Row& row : items) {
      memset(&row, ' ', sizeof row);
      const auto text = [&](char* to, size_t length) {
        for (size_t at = 0; at < length; ++at) to[at] = "abcdefghijklmnopqrstuvwxyzABCDEF  "[random() % 34];
        if (random() % 20 == 0) to[length / 2] = "<>&'\""[random() % 5];
      };
      text(row.name, 8 + random() % 16);
      text(row.place, 4 + random() % 12);
      text(row.code, 8);
      char number[32];
      snprintf(number, sizeof number, "%c%011.2f", random() % 3 == 0 ? '-' : '+',
               random() % 10000000 / 100.0);
      image.append(number, imageLength);
    }
  }
};

const Table table;
constexpr size_t room = 8 << 20;

constexpr QrtXmlDescriptor entry(uint8_t level, uint8_t flags, uint32_t value) {
  return {level,
          flags,
          {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value >> 16),
           static_cast<uint8_t>(value >> 24)}};
}
constexpr QrtXmlDescriptor entries[] = {entry(1, 0, 0),
                                        entry(2, QRT_XGF_OCCURS, rows),
                                        entry(2, 0, 0),
                                        entry(3, QRT_XGF_NATIVE_TEXT, sizeof Row::name),
                                        entry(3, QRT_XGF_NATIVE_TEXT, sizeof Row::place),
                                        entry(3, QRT_XGF_NATIVE_TEXT, sizeof Row::code),
                                        entry(3, QRT_XGF_NUMERIC, sizeof Row::amount << 16 | imageLength),
                                        entry(0, 0, 0)};
constexpr char names[] = "\4WORK\6REPORT\3ROW\4NAME\5PLACE\4CODE\6AMOUNT";

void generate(benchmark::State& state, uint8_t kind, const char* encoding) {
  std::vector<uint8_t> output(room);
  QrtXmlOptions options = {};
  options.encoding = encoding;
  const QrtXmlProgram program = {"en_US.QMC-1252"};
  int32_t written = 0, result = 0;
  for (auto _ : state)
    result = _qrtcXGF(200, output.data(), room, kind, table.items.data(), &program,
                      reinterpret_cast<const uint8_t*>(table.image.data()), nullptr, 0, 24, entries,
                      reinterpret_cast<const uint8_t*>(names), &options, 0, &written);
  if (result != 0) state.SkipWithError("not generated");
  state.counters["units"] = written;
}

void BM_Generate_Native(benchmark::State& state) {
  generate(state, QRT_XGF_ASCII, nullptr);
}
BENCHMARK(BM_Generate_Native)->Unit(benchmark::kMillisecond);

void BM_Generate_Utf8(benchmark::State& state) {
  generate(state, QRT_XGF_ASCII, "UTF-8");
}
BENCHMARK(BM_Generate_Utf8)->Unit(benchmark::kMillisecond);

void BM_Generate_Ebcdic(benchmark::State& state) {
  generate(state, QRT_XGF_EBCDIC, nullptr);
}
BENCHMARK(BM_Generate_Ebcdic)->Unit(benchmark::kMillisecond);

void BM_Generate_Utf16(benchmark::State& state) {
  generate(state, QRT_XGF_UTF16, nullptr);
}
BENCHMARK(BM_Generate_Utf16)->Unit(benchmark::kMillisecond);

// Text without trailing blanks, escaped and terminated.
void escape(const char* text, size_t length, char* to) {
  while (length > 1 && text[length - 1] == ' ') --length;
  for (size_t at = 0; at < length; ++at) {
    switch (text[at]) {
      case '<':
        to = stpcpy(to, "&lt;");
        break;
      case '>':
        to = stpcpy(to, "&gt;");
        break;
      case '&':
        to = stpcpy(to, "&amp;");
        break;
      case '\'':
        to = stpcpy(to, "&apos;");
        break;
      case '"':
        to = stpcpy(to, "&quot;");
        break;
      default:
        *to++ = text[at];
    }
  }
  *to = 0;
}

void amountText(const char* image, char* to) {
  if (*image == '-' || *image == '+') *to++ = *image++;
  size_t length = imageLength - 1;
  while (length > 1 && image[0] == '0' && image[1] != '.') ++image, --length;
  memcpy(to, image, length);
  to[length] = 0;
}

void BM_Snprintf(benchmark::State& state) {
  std::vector<char> output(room);
  size_t written = 0;
  for (auto _ : state) {
    char *to = output.data(), *const end = to + room, text[256];
    const auto left = [&] { return static_cast<size_t>(end - to); };
    const auto put = [&](const char* name, const char* item, size_t length) {
      escape(item, length, text);
      to += snprintf(to, left(), "<%s>%s</%s>", name, text, name);
    };
    to += snprintf(to, left(), "<REPORT>");
    for (int32_t at = 0; at < rows; ++at) {
      const Row& row = table.items[at];
      to += snprintf(to, left(), "<ROW>");
      put("NAME", row.name, sizeof row.name);
      put("PLACE", row.place, sizeof row.place);
      put("CODE", row.code, sizeof row.code);
      amountText(table.image.data() + at * imageLength, text);
      to += snprintf(to, left(), "<AMOUNT>%s</AMOUNT></ROW>", text);
    }
    to += snprintf(to, left(), "</REPORT>");
    written = static_cast<size_t>(to - output.data());
    benchmark::ClobberMemory();
  }
  state.counters["units"] = static_cast<double>(written);
}
BENCHMARK(BM_Snprintf)->Unit(benchmark::kMillisecond);

}  // namespace
