// Memory that runs out on demand: the heap of a test program counts its blocks and fails the n-th request.
// The library and what it calls share that heap. Tests that need it skip where `canFailAllocations` is false.
#pragma once

namespace qrt::test {

#ifdef QRT_SANITIZE
inline constexpr bool canFailAllocations = false;
#else
inline constexpr bool canFailAllocations = true;
#endif

// While this object lives, the n-th request for memory from now on fails, counted from 1; 0 only counts.
// Keep the test's own requests out of its life.
class FailingAllocation {
 public:
  explicit FailingAllocation(int32_t n);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  int32_t requests() const;  // since the object was made
  bool hasFailed() const;    // whether the n-th request came
};

// Loads the locale of UTF-8 for good: the C library never tries again what it once had no memory for, and
// later tests need it. To be called ahead of the first reading of liveBlocks().
void keepLocale();

// Blocks of the heap that are allocated now; the difference of two readings shows a leak.
int32_t liveBlocks();

}  // namespace qrt::test
