// Memory calls. In hosted mode each block carries a header that hangs it on the run unit's list, so that what
// a program forgets goes with its run unit.
#include <stdlib.h>
#include <string.h>

#include "qrtrlib.h"

namespace {

struct HostedHeader {
  HostedHeader* next;
  HostedHeader** link;  // the pointer that points to this block: the list head or the previous `next`
};
static_assert(sizeof(HostedHeader) == 8);

// Whether blocks hang on the list of the current run unit.
bool blocksAreListed() {
  return _qrtIsTrax != 0 && _qrtRuncom != nullptr;
}

// What malloc aligns its blocks to. It tells the two kinds of block apart, so that one that was made before
// the run became hosted can still be freed: a hosted block lies eight bytes off.
constexpr uintptr_t heapAlignment = 16;
bool hasHeader(const void* block) {
  return reinterpret_cast<uintptr_t>(block) % heapAlignment == sizeof(HostedHeader);
}

HostedHeader** hostedList() {
  return reinterpret_cast<HostedHeader**>(&_qrtRuncom->hostedAllocations);
}

}  // namespace

void* _qrtCheckMalloc(uint32_t size) {
  if (!blocksAreListed()) return malloc(size);
  if (size > UINT32_MAX - sizeof(HostedHeader)) return nullptr;
  auto* header = static_cast<HostedHeader*>(malloc(size + sizeof(HostedHeader)));
  if (header == nullptr) return nullptr;
  HostedHeader** head = hostedList();
  *header = {*head, head};
  if (*head != nullptr) (*head)->link = &header->next;
  *head = header;
  return header + 1;
}

void* _qrtCheckCalloc(uint32_t count, uint32_t size) {
  uint32_t bytes;
  if (__builtin_mul_overflow(count, size, &bytes)) return nullptr;
  void* block = _qrtCheckMalloc(bytes);
  if (block != nullptr) memset(block, 0, bytes);
  return block;
}

void _qrtCheckFree(void* block) {
  if (!hasHeader(block)) return free(block);
  HostedHeader* header = static_cast<HostedHeader*>(block) - 1;
  *header->link = header->next;
  if (header->next != nullptr) header->next->link = header->link;
  free(header);
}

void _qrtCheckFreeAll() {
  if (!blocksAreListed()) return;
  HostedHeader** head = hostedList();
  for (HostedHeader *block = *head, *next; block != nullptr; block = next) {
    next = block->next;
    free(block);
  }
  *head = nullptr;
}

void* _qrtMalloc(uint32_t size, int32_t number, uint32_t flags) {
  void* block = _qrtCheckMalloc(size);
  if (block == nullptr) qrtWriteERRmsg(number, flags);
  return block;
}
