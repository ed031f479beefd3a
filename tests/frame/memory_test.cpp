// The memory calls in plain and hosted mode.

#include "support/allocation.h"

using namespace qrt::test;

namespace {

struct RunUnit {
  QrtRunUnitRecord record = {};
  explicit RunUnit(int32_t hosted) {
    _qrtRuncom = &record;
    _qrtIsTrax = hosted;
  }
  ~RunUnit() {
    _qrtRuncom = nullptr;
    _qrtIsTrax = 0;
  }
  size_t listed() const {
    size_t count = 0;
    for (auto* block = record.hostedAllocations; block != nullptr; block = *static_cast<void**>(block))
      ++count;
    return count;
  }
};

}  // namespace

TEST(Memory, HostedBlocksHangOnTheRunUnitInAnyOrderOfFreeing) {
  const int32_t before = liveBlocks();
  {
    const RunUnit run(1);
    std::mt19937 random(7);
    std::vector<void*> blocks;
    for (int round = 0; round < 2000; ++round) {
      if (blocks.empty() || random() % 5 < 3) {
        blocks.push_back(_qrtCheckMalloc(random() % 40));
      } else {
        std::swap(blocks[random() % blocks.size()], blocks.back());
        _qrtCheckFree(blocks.back());
        blocks.pop_back();
      }
      ASSERT_EQ(run.listed(), blocks.size());
    }
    _qrtCheckFree(nullptr);
    _qrtCheckFreeAll();
    EXPECT_EQ(run.listed(), 0u);
  }
  EXPECT_EQ(liveBlocks(), before);
}

TEST(Memory, CallocClearsAndRefusesAProductThatOverflows) {
  for (const int32_t hosted : {0, 1}) {
    const RunUnit run(hosted);
    auto* block = static_cast<uint8_t*>(_qrtCheckCalloc(7, 9));
    EXPECT_EQ(std::vector<uint8_t>(block, block + 63), std::vector<uint8_t>(63));
    EXPECT_EQ(_qrtCheckCalloc(0x10001, 0x10000), nullptr);
    EXPECT_EQ(run.listed(), hosted ? 1u : 0u);
    _qrtCheckFreeAll();  // nothing in a plain run
    if (!hosted) _qrtCheckFree(block);
  }
}
