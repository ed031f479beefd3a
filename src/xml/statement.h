// XML PARSE, inside of its guard.
#pragma once

#include "qrtrlib.h"

namespace qrt::xml {

int32_t parseStatement(QrtXmlParseBlock* block);

}  // namespace qrt::xml
