// The hash by which names are put into buckets.
#pragma once

#include <stdint.h>
#include <string.h>

namespace qrt::frame {

// The bucket, counted from 0, of a key of `length` bytes among `buckets` of them.
inline int32_t bucketOf(const void* key, uint32_t length, int32_t buckets) {
  const auto* bytes = static_cast<const uint8_t*>(key);
  uint32_t words = 0;
  for (; length >= 4; bytes += 4, length -= 4) {
    uint32_t word;
    memcpy(&word, bytes, 4);
    words ^= word;
  }
  uint32_t rest = 0;
  for (; length > 0; --length) rest = (rest << 8) + *bytes++;
  const double product = (words ^ rest) * 0.6180339887;
  const double fraction = product - static_cast<double>(static_cast<uint32_t>(product));
  return static_cast<int32_t>(fraction * buckets);
}

}  // namespace qrt::frame
