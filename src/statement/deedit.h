// De-editing: the digits and the sign of a numeric-edited item. The inner functions behind the
// _qrtcMoveNumEditToNum entries, with their arguments (see qrtrlib.h).
#pragma once

#include <cstdint>

#include "qrtrlib.h"

namespace qrt::statement {

int32_t moveNumEditToNum(const QrtNumDeeditPicture* picture, const uint8_t* source, uint8_t* destination);
int32_t moveNumEditToNum2(const QrtNumDeeditPicture* picture, const uint8_t* source, uint8_t* destination,
                          const QrtCurrency* currency);

}  // namespace qrt::statement
