// Integer dates beside the civil conversions of std::chrono.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>

#include <chrono>
#include <random>
#include <vector>

namespace {

using namespace std::chrono;

std::vector<int32_t> someDays() {
  std::mt19937 random(6);
  std::vector<int32_t> days(1024);
  for (int32_t& some : days) some = 100000 + static_cast<int32_t>(random() % 200000);
  return days;
}

std::vector<int32_t> someDates() {
  std::vector<int32_t> dates = someDays();
  for (int32_t& date : dates) date = _qrtDateOfInteger(date);
  return dates;
}

template <auto function, auto make>
void BM_Entry(benchmark::State& state) {
  const std::vector<int32_t> arguments = make();
  for (size_t at = 0; auto _ : state) benchmark::DoNotOptimize(function(arguments[at++ % 1024]));
}

// The same functions over std::chrono.
const sys_days origin = year(1601) / January / 1;

[[gnu::noinline]] int32_t chronoDate(int32_t integerDate) {
  const year_month_day date(origin + days(integerDate - 1));
  return int(date.year()) * 10000 + int(unsigned(date.month())) * 100 + int(unsigned(date.day()));
}

[[gnu::noinline]] int32_t chronoInteger(int32_t date) {
  const year_month_day civil(year(date / 10000), month(date / 100 % 100), day(date % 100));
  return civil.ok() ? static_cast<int32_t>((sys_days(civil) - origin).count()) + 1 : 0;
}

BENCHMARK(BM_Entry<_qrtDateOfInteger, someDays>)->Name("DATE-OF-INTEGER");
BENCHMARK(BM_Entry<chronoDate, someDays>)->Name("chrono of days");
BENCHMARK(BM_Entry<_qrtIntegerOfDate, someDates>)->Name("INTEGER-OF-DATE");
BENCHMARK(BM_Entry<chronoInteger, someDates>)->Name("chrono to days");

}  // namespace
