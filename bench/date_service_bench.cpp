// The date services that read and show text beside what a C program would call from the same to the same:
// strptime and timegm, gmtime_r and strftime.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <string.h>
#include <time.h>

namespace {

struct Varying {
  int16_t length;
  char text[80];

  explicit Varying(const char* from) : length(static_cast<int16_t>(strlen(from))) { strcpy(text, from); }
  operator const QrtVaryingString*() const { return reinterpret_cast<const QrtVaryingString*>(this); }
};

constexpr int32_t lilianDay = 161215;  // 5 March 2024
constexpr double lilianSeconds = lilianDay * 86400.0 + 13 * 3600 + 5 * 60 + 7;

QrtFeedback feedback;

void read(benchmark::State& state, const char* text, const char* format) {
  for (auto _ : state) {
    tm parts{};
    strptime(text, format, &parts);
    auto seconds = timegm(&parts);
    benchmark::DoNotOptimize(seconds);
  }
}

void show(benchmark::State& state, const char* format) {
  time_t seconds = 1709643907;  // the same day and time
  char text[QRT_DATE_FIELD];
  for (auto _ : state) {
    benchmark::DoNotOptimize(seconds);
    tm parts;
    gmtime_r(&seconds, &parts);
    strftime(text, sizeof text, format, &parts);
    benchmark::ClobberMemory();
  }
}

void BM_Days(benchmark::State& state) {
  const Varying input("2024-03-05"), picture("YYYY-MM-DD");
  int32_t day;
  for (auto _ : state) {
    DTSDAYS(input, picture, &day, &feedback);
    benchmark::ClobberMemory();
  }
  if (day != lilianDay) state.SkipWithError("not the day");
}
BENCHMARK(BM_Days);

void BM_DaysStrptime(benchmark::State& state) {
  read(state, "2024-03-05", "%Y-%m-%d");
}
BENCHMARK(BM_DaysStrptime);

void BM_Date(benchmark::State& state) {
  const Varying picture("Wwwwwwwwwz, ZD Mmmmmmmmmz YYYY");
  char output[QRT_DATE_FIELD];
  for (auto _ : state) {
    DTSDATE(&lilianDay, picture, output, &feedback);
    benchmark::ClobberMemory();
  }
  if (memcmp(output, "Tuesday, 5 March 2024 ", 22) != 0) state.SkipWithError("not the text");
}
BENCHMARK(BM_Date);

void BM_DateStrftime(benchmark::State& state) {
  show(state, "%A, %-d %B %Y");
}
BENCHMARK(BM_DateStrftime);

void BM_Secs(benchmark::State& state) {
  const Varying input("2024-03-05 13:05:07"), picture("YYYY-MM-DD HH:MI:SS");
  double seconds;
  for (auto _ : state) {
    DTSSECS(input, picture, &seconds, &feedback);
    benchmark::ClobberMemory();
  }
  if (seconds != lilianSeconds) state.SkipWithError("not the seconds");
}
BENCHMARK(BM_Secs);

void BM_SecsStrptime(benchmark::State& state) {
  read(state, "2024-03-05 13:05:07", "%Y-%m-%d %H:%M:%S");
}
BENCHMARK(BM_SecsStrptime);

void BM_Datm(benchmark::State& state) {
  const Varying picture("YYYY-MM-DD HH:MI:SS");
  char output[QRT_DATE_FIELD];
  for (auto _ : state) {
    DTSDATM(&lilianSeconds, picture, output, &feedback);
    benchmark::ClobberMemory();
  }
  if (memcmp(output, "2024-03-05 13:05:07 ", 20) != 0) state.SkipWithError("not the text");
}
BENCHMARK(BM_Datm);

void BM_DatmStrftime(benchmark::State& state) {
  show(state, "%Y-%m-%d %H:%M:%S");
}
BENCHMARK(BM_DatmStrftime);

}  // namespace
