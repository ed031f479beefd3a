/* The peer of packed arithmetic: the compiler's _Decimal128, by address so that nothing is worked out ahead.
 */
#ifdef __cplusplus
extern "C" {
#endif

typedef struct PeerDecimal {
  unsigned char bytes[16];
} PeerDecimal;

void peerFromText(const char* digits, PeerDecimal* value);
void peerAdd(const PeerDecimal* a, const PeerDecimal* b, PeerDecimal* result);
void peerSubtract(const PeerDecimal* a, const PeerDecimal* b, PeerDecimal* result);
void peerMultiply(const PeerDecimal* a, const PeerDecimal* b, PeerDecimal* result);
void peerDivide(const PeerDecimal* a, const PeerDecimal* b, PeerDecimal* result);
int peerLess(const PeerDecimal* a, const PeerDecimal* b);

#ifdef __cplusplus
}
#endif
