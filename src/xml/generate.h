// XML GENERATE: a document from the item table of a data description.
#pragma once

#include "qrtrlib.h"

namespace qrt::xml {

// See _qrtcXGF() in qrtrlib.h.
int32_t generate(int32_t version, void* output, uint32_t outputSize, uint8_t kind, const void* data,
                 const QrtXmlProgram* program, const uint8_t* numericImage, const int32_t* counts,
                 uint32_t reserved9, int32_t workSize, const QrtXmlDescriptor* descriptors,
                 const uint8_t* names, const QrtXmlOptions* options, uint32_t reserved14, int32_t* countIn);

}  // namespace qrt::xml
