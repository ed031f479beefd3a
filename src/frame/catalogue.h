// Message catalogues: opened through NLSPATH, read once, looked up by number and variant.
#pragma once

#include <stdint.h>

#include "qrtrlib.h"

namespace qrt::frame {

// The text of the entry, terminated, or `otherwise` when there is no catalogue, no such entry or its text
// lies outside what was read. The text lives as long as the catalogue.
const char* catalogueText(const QrtCatalogue* catalogue, uint32_t number, uint32_t variant,
                          const char* otherwise);

}  // namespace qrt::frame
