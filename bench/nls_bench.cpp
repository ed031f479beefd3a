// Conversion to EBCDIC beside the two ICU calls that it stands for: a pair of single-byte pages, and UTF-8
// with a page of double-byte text. BENCH_PAIR=single or double chooses the pair.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>
#include <stdlib.h>
#include <string.h>
#include <unicode/ucnv.h>

#include <string>

namespace {

bool doublePair = false;

std::string textOf(int64_t bytes) {
  const std::string piece =
      doublePair ? "Kundennummer 4711 \xE6\x97\xA5\xE6\x9C\xAC " : "Kundennummer 4711, Betrag 1.234,56 EUR; ";
  std::string text;
  while (text.size() + piece.size() <= static_cast<size_t>(bytes)) text += piece;
  text.resize(static_cast<size_t>(bytes), ' ');
  return text;
}

void BM_ToEbcdic(benchmark::State& state) {
  const std::string text = textOf(state.range(0));
  std::string target(text.size() * 2, 0);
  for (auto _ : state) {
    auto length = static_cast<int32_t>(target.size());
    _qrtConvToEBCDIC(text.data(), static_cast<int32_t>(text.size()), target.data(), &length);
    benchmark::ClobberMemory();
  }
}

void BM_TwoIcuCalls(benchmark::State& state) {
  const std::string text = textOf(state.range(0));
  std::string target(text.size() * 2, 0), work(text.size() * 2 + 2, 0);
  UErrorCode status = U_ZERO_ERROR;
  UConverter* const from = ucnv_open(doublePair ? "UTF-8" : "windows-1252", &status);
  UConverter* const to = ucnv_openCCSID(doublePair ? 939 : 1140, static_cast<UConverterPlatform>(0), &status);
  for (auto _ : state) {
    auto* const units = reinterpret_cast<UChar*>(work.data());
    const int32_t count = ucnv_toUChars(from, units, static_cast<int32_t>(work.size() / 2), text.data(),
                                        static_cast<int32_t>(text.size()), &status);
    ucnv_fromUChars(to, target.data(), static_cast<int32_t>(target.size()), units, count, &status);
    benchmark::ClobberMemory();
  }
  ucnv_close(from);
  ucnv_close(to);
}

BENCHMARK(BM_ToEbcdic)->Arg(80)->Arg(65536);
BENCHMARK(BM_TwoIcuCalls)->Arg(80)->Arg(65536);

}  // namespace

int main(int count, char** arguments) {
  const char* const pair = getenv("BENCH_PAIR");
  doublePair = pair != nullptr && strcmp(pair, "double") == 0;
  setenv("LC_ALL", doublePair ? "C.UTF-8" : "C", 1);
  unsetenv("EBCDIC_CODEPAGE");
  _qrtPgmInit(nullptr);
  if (doublePair) strcpy(ebcdic_CP, "QMC-939");  // no locale of this machine need have that page
  benchmark::Initialize(&count, arguments);
  benchmark::RunSpecifiedBenchmarks();
  _qrtCleanUp();
}
