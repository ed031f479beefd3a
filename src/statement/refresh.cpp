// An independent segment is entered in its initial state: altered GO TO targets of its paragraphs go back.
#include "statement/refresh.h"

namespace qrt::statement {
namespace {

constexpr uint8_t highestFixedSegment = '1';  // as priority digits; independent segments lie above

}  // namespace

void refreshSegment(uint8_t segment, int32_t count, uint32_t* live, const uint32_t* initial,
                    const uint8_t* segments) {
  for (int32_t at = 0; at < count; ++at)
    if (segments[at] == segment) live[at] = initial[at];
}

void refreshOnTransfer(uint8_t current, int32_t count, uint8_t target, uint32_t* live,
                       const uint32_t* initial, const uint8_t* segments) {
  if (target > highestFixedSegment && target != current)
    refreshSegment(target, count, live, initial, segments);
}

void refreshOnGoDepending(int32_t index, uint8_t current, int32_t count, const uint8_t* targets,
                          uint32_t* live, const uint32_t* initial, const uint8_t* segments) {
  refreshOnTransfer(current, count, targets[index - 1], live, initial, segments);
}

}  // namespace qrt::statement
