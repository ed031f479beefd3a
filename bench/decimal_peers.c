#include "decimal_peers.h"

#include <string.h>

static _Decimal128 load(const PeerDecimal* value) {
  _Decimal128 decimal;
  memcpy(&decimal, value, sizeof decimal);
  return decimal;
}

static void store(_Decimal128 decimal, PeerDecimal* value) { memcpy(value, &decimal, sizeof decimal); }

void peerFromText(const char* digits, PeerDecimal* value) {
  const int negative = *digits == '-';
  _Decimal128 decimal = 0;
  for (digits += negative; *digits != 0; ++digits) decimal = decimal * 10 + (*digits - '0');
  store(negative ? -decimal : decimal, value);
}

void peerAdd(const PeerDecimal* a, const PeerDecimal* b, PeerDecimal* result) { store(load(a) + load(b), result); }

void peerSubtract(const PeerDecimal* a, const PeerDecimal* b, PeerDecimal* result) {
  store(load(a) - load(b), result);
}

void peerMultiply(const PeerDecimal* a, const PeerDecimal* b, PeerDecimal* result) {
  store(load(a) * load(b), result);
}

void peerDivide(const PeerDecimal* a, const PeerDecimal* b, PeerDecimal* result) {
  store(load(a) / load(b), result);
}

int peerLess(const PeerDecimal* a, const PeerDecimal* b) { return load(a) < load(b); }
