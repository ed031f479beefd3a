#include <qrtrlib.h>

TEST(Packed, AddsThroughTheEntry) {
  const uint8_t op1[] = {0x99, 0x9C}, op2[] = {0x1C};
  uint8_t result[] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
  EXPECT_EQ(_qrtcBCD_ADD_Pckd(op1, op2, result + 1, 5, 1, 3), result + 1);
  EXPECT_EQ(std::vector<uint8_t>(result, result + 5), (std::vector<uint8_t>{0xEE, 0x01, 0x00, 0x0C, 0xEE}));
}
