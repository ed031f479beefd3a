// What a record file is, read from the file itself.
#pragma once

#include <qrtrlib.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace qrt::file {

// Why a command can't be done; the text is for the user.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Attributes {
  uint8_t organization = QRT_ORGANIZATION_SEQUENTIAL;
  bool variable = false;
  uint32_t shortest = 0, longest = 0;  // records, bytes
  std::vector<QrtFileKey> keys;        // of an indexed file, the prime one first
  bool unsettled = false;              // a writer is at work or was killed at it
};

const char* nameOf(uint8_t organization);

// Throws a Failure for a file that can't be read or isn't a record file.
Attributes attributesOf(const std::string& file);

}  // namespace qrt::file
