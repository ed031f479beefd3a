// The entries of the hexadecimal floats. A guard would cost more than a conversion, so that only the report
// of a fault gets one.
#include "decimal/float_hexadecimal.h"

namespace decimal = qrt::decimal;

double _qrtcConvHex8toIEEE(const void* item) {
  return decimal::qrtcConvHex8toIEEE(item);
}

void _qrtcConvIEEE8toHex(double value, void* item) {
  if (const int32_t status = decimal::qrtdConvIEEE8toHex(value, item); status != 0)
    _qrtWriteERRmsg(status, 0);
}

int32_t _qrtdConvIEEE8toHex(double value, void* item) {
  return decimal::qrtdConvIEEE8toHex(value, item);
}

float _qrtcConvHex4toIEEE(uint32_t item) {
  float value = 0;
  if (const int32_t status = decimal::hexToIeee(item, value); status != 0) _qrtWriteERRmsg(status, 0);
  return value;
}

int32_t _qrtdConvHex4toIEEE(uint32_t item, float* value) {
  return decimal::hexToIeee(item, *value);
}

uint32_t _qrtcConvIEEE4toHex(float value) {
  uint32_t item = 0;
  if (const int32_t status = decimal::ieeeToHex(value, item); status != 0) _qrtWriteERRmsg(status, 0);
  return item;
}

int32_t _qrtdConvIEEE4toHex(float value, uint32_t* item) {
  return decimal::ieeeToHex(value, *item);
}
