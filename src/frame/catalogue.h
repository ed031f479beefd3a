// Message catalogues: opened through NLSPATH, read once, looked up by number and variant.
#pragma once

#include <stdint.h>

#include "qrtrlib.h"

namespace qrt::frame {

// The text of the entry, terminated, or `otherwise` when there is no catalogue, no such entry or its text
// lies outside what was read. The text lives as long as the catalogue.
const char* catalogueText(const QrtCatalogue* catalogue, uint32_t number, uint32_t variant,
                          const char* otherwise);

// The text proper of a catalogue's text: what stands behind the severity digit and its blank.
const char* textProper(const char* catalogued);

// What the abnormal end of a hosted run tells the host: the text proper of the exit notice, taken when a
// hosted run opens a catalogue; empty without one.
extern char hostAbendText[80];

}  // namespace qrt::frame
