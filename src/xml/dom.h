// The records that DOMPARSE builds.
#pragma once

#include "xml/parser.h"

namespace qrt::xml {

void freeTables(Parser& parser);

}  // namespace qrt::xml
