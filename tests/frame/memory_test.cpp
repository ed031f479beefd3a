// The memory calls in plain and hosted mode.
#include <qrtrlib.h>

#include <random>

#include "support/allocation.h"

using namespace qrt::test;

namespace {

// A hosted run unit for the life of this object.
struct HostedRun {
  QrtRunUnitRecord record = {};
  HostedRun() {
    _qrtRuncom = &record;
    _qrtIsTrax = 1;
  }
  ~HostedRun() {
    _qrtRuncom = nullptr;
    _qrtIsTrax = 0;
  }
};

size_t listed(const QrtRunUnitRecord& record) {
  size_t count = 0;
  for (void* const* block = static_cast<void**>(record.hostedAllocations); block != nullptr;
       block = static_cast<void**>(*block))
    ++count;
  return count;
}

}  // namespace

TEST(Memory, HostedBlocksHangOnTheRunUnitInAnyOrderOfFreeing) {
  HostedRun run;
  std::mt19937 random(7);
  std::vector<void*> blocks;
  for (int round = 0; round < 2000; ++round) {
    if (blocks.empty() || random() % 5 < 3) {
      blocks.push_back(_qrtCheckMalloc(random() % 40));
    } else {
      const size_t index = random() % blocks.size();
      _qrtCheckFree(blocks[index]);
      blocks.erase(blocks.begin() + static_cast<ptrdiff_t>(index));
    }
    ASSERT_EQ(listed(run.record), blocks.size());
  }
  _qrtCheckFree(nullptr);
  _qrtCheckFreeAll();
  EXPECT_EQ(run.record.hostedAllocations, nullptr);
}

TEST(Memory, CallocClearsAndRefusesAProductThatOverflows) {
  for (int hosted = 0; hosted < 2; ++hosted) {
    HostedRun run;
    _qrtIsTrax = hosted;
    auto* block = static_cast<uint8_t*>(_qrtCheckCalloc(7, 9));
    EXPECT_EQ(std::vector<uint8_t>(block, block + 63), std::vector<uint8_t>(63));
    EXPECT_EQ(_qrtCheckCalloc(0x10001, 0x10000), nullptr);
    EXPECT_EQ(listed(run.record), hosted ? 1u : 0u);
    _qrtCheckFreeAll();  // nothing in a plain run
    if (!hosted) _qrtCheckFree(block);
  }
}

TEST(Memory, ShortageIsAResult) {
  if (!canFailAllocations) GTEST_SKIP();
  for (int32_t n = 1; n <= 3; ++n) {
    const int32_t before = liveBlocks();
    QrtHashTable* table;
    int32_t inserted[2] = {-1, -1};
    {
      const FailingAllocation failing(n);
      table = _qrt_hash_create(3, 0);
      if (table != nullptr)
        for (int32_t& result : inserted) result = _qrt_hash_insert(table, "key", 3, &table);
    }
    EXPECT_EQ(table == nullptr, n == 1);
    EXPECT_EQ(inserted[0], n == 3 ? 0 : -1);
    EXPECT_EQ(inserted[1], n == 2 ? 0 : -1);
    if (inserted[0] == 0 || inserted[1] == 0) {
      EXPECT_EQ(_qrt_hash_find(table, "key", 3), &table);
    }
    _qrt_hash_terminate(table);
    EXPECT_EQ(liveBlocks(), before);
  }
}
