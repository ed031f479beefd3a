// The input of a fuzz target, taken byte by byte.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace qrt::fuzz {

// The bytes that are left of the input; zeros follow its end.
struct Input {
  const uint8_t* data;
  size_t size;

  uint8_t byte() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
};

}  // namespace qrt::fuzz
