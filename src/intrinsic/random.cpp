// FUNCTION RANDOM: a multiplicative congruential generator, whose state lies in the record of the run unit.
#include <charconv>
#include <cmath>

#include "intrinsic/arguments.h"
#include "intrinsic/math.h"
#include "qrtrlib.h"

namespace qrt::intrinsic {
namespace {

constexpr uint32_t multiplier = 950706376;
constexpr uint32_t modulus = 2147483647;  // a prime
constexpr uint32_t largestSeed = modulus - 2;
constexpr int64_t seedLimit = 1'000'000'000'000'000'000;
constexpr size_t mostDigits = 309;  // of the largest double

// Tells of a seed that is negative or too large; 0 for a negative one.
template <typename Seed>
Seed checked(Seed seed) {
  if (seed < 0) {
    qrtWriteERRmsg(negativeSeed, 0, "RANDOM");
    return 0;
  }
  if (seed >= static_cast<Seed>(seedLimit)) {
    char text[mostDigits + 1];
    std::to_chars_result end{};
    if constexpr (std::is_integral_v<Seed>)
      end = std::to_chars(text, text + mostDigits, seed);
    else
      end = std::to_chars(text, text + mostDigits, seed, std::chars_format::fixed);
    *end.ptr = '\0';
    qrtWriteERRmsg(aboveLimit, 0, "RANDOM", text);
  }
  return seed;
}

double nextAfter(uint32_t seed) {
  _qrtRuncom->randomSeed = seed;
  return nextRandom();
}

}  // namespace

double nextRandom() {
  uint32_t& seed = _qrtRuncom->randomSeed;
  if (seed == 0) seed = 1;
  seed = static_cast<uint32_t>(uint64_t{seed} * multiplier % modulus);
  return seed / static_cast<double>(modulus);
}

double firstRandom(int64_t seed) {
  seed = checked(seed);
  if (seed > largestSeed) seed %= largestSeed + 1;
  return nextAfter(static_cast<uint32_t>(seed) + 1);
}

double firstRandom(double seed) {
  const bool hasFraction = std::trunc(seed) != seed;  // a NaN too
  seed = std::trunc(checked(seed));
  if (hasFraction) qrtWriteERRmsg(fractionalSeed, 0, "RANDOM");
  if (seed > largestSeed) {
    const double periods = seed / largestSeed;
    seed = (periods - std::floor(periods)) * largestSeed;
  }
  return nextAfter(seed >= 0 ? static_cast<uint32_t>(seed + 1) : 1);  // what was infinite or a NaN is 0
}

}  // namespace qrt::intrinsic
