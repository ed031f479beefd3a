// Packed arithmetic through its entries, beside _Decimal128 on the same numbers.
#include <benchmark/benchmark.h>
#include <qrtrlib.h>

#include <random>
#include <string>

#include "decimal_peers.h"

namespace {

constexpr int operands = 64;  // they change from call to call, so that no branch is learnt by heart

// The same signed numbers of at most that many digits in both forms.
struct Numbers {
  uint8_t packed[operands][16];
  PeerDecimal peers[operands];

  Numbers(int digits, uint32_t seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < operands; ++i) {
      std::string text(1, static_cast<char>('1' + random() % 9));
      while (static_cast<int>(text.size()) < digits) text += static_cast<char>('0' + random() % 10);
      const bool negative = random() % 2 == 0;
      peerFromText(((negative ? "-" : "") + text).c_str(), &peers[i]);
      text.insert(0, 1, negative ? '-' : '+');
      _qrtcBCD_CONV_ZndLS_To_Pckd(reinterpret_cast<const uint8_t*>(text.data()), packed[i], digits, digits);
    }
  }
};

template <auto entry, int digits1, int digits2, int digits>
void BM_Packed(benchmark::State& state) {
  const Numbers a(digits1, 1), b(digits2, 2);
  uint8_t result[32];
  for (int i = 0; auto _ : state) {
    entry(a.packed[i % operands], b.packed[i % operands], result, digits, digits2, digits1);
    benchmark::ClobberMemory();
    ++i;
  }
}

template <auto peer, int digits1, int digits2>
void BM_Decimal128(benchmark::State& state) {
  const Numbers a(digits1, 1), b(digits2, 2);
  PeerDecimal result;
  for (int i = 0; auto _ : state) {
    peer(&a.peers[i % operands], &b.peers[i % operands], &result);
    benchmark::ClobberMemory();
    ++i;
  }
}

BENCHMARK(BM_Packed<_qrtcBCD_ADD_Pckd, 31, 31, 31>)->Name("ADD 31 digits");
BENCHMARK(BM_Decimal128<peerAdd, 31, 31>)->Name("_Decimal128 add 31");
BENCHMARK(BM_Packed<_qrtcBCD_ADD_Pckd, 15, 15, 15>)->Name("ADD 15 digits");
BENCHMARK(BM_Decimal128<peerAdd, 15, 15>)->Name("_Decimal128 add 15");
BENCHMARK(BM_Packed<_qrtcBCD_SUB_Pckd, 31, 31, 31>)->Name("SUB 31 digits");
BENCHMARK(BM_Decimal128<peerSubtract, 31, 31>)->Name("_Decimal128 subtract 31");
BENCHMARK(BM_Packed<_qrtcBCD_SUB_Pckd, 15, 15, 15>)->Name("SUB 15 digits");
BENCHMARK(BM_Decimal128<peerSubtract, 15, 15>)->Name("_Decimal128 subtract 15");
BENCHMARK(BM_Packed<_qrtcBCD_MPY_Pckd, 15, 15, 30>)->Name("MPY 15 by 15 digits");
BENCHMARK(BM_Decimal128<peerMultiply, 15, 15>)->Name("_Decimal128 multiply 15 by 15");
BENCHMARK(BM_Packed<_qrtcBCD_DIV_Pckd, 31, 15, 31>)->Name("DIV 31 by 15 digits");
BENCHMARK(BM_Decimal128<peerDivide, 31, 15>)->Name("_Decimal128 divide 31 by 15");

// The second operand differs from the first in its last digits only.
void BM_Compare(benchmark::State& state) {
  const Numbers a(31, 1);
  Numbers b(31, 1);
  for (auto& item : b.packed) item[14] ^= 1;
  for (int i = 0; auto _ : state) {
    benchmark::DoNotOptimize(_qrtcBCD_LES_Pckd(a.packed[i % operands], b.packed[i % operands], 31, 31));
    ++i;
  }
}
BENCHMARK(BM_Compare)->Name("compare 31 digits");

void BM_PeerCompare(benchmark::State& state) {
  const Numbers a(31, 1), one(1, 3);
  Numbers b(31, 1);
  for (int i = 0; i < operands; ++i) peerAdd(&a.peers[i], &one.peers[i], &b.peers[i]);
  for (int i = 0; auto _ : state) {
    benchmark::DoNotOptimize(peerLess(&a.peers[i % operands], &b.peers[i % operands]));
    ++i;
  }
}
BENCHMARK(BM_PeerCompare)->Name("_Decimal128 compare 31");

}  // namespace
