// Blocks of a session in a doubly linked list.
#include "sort/engine/memory.h"

#include <stdlib.h>
#include <string.h>

namespace qrt::sort {

struct alignas(16) SessionMemory::Block {
  Block* older;
  Block* newer;
};

void* SessionMemory::allocateBuffer(size_t bytes) {
  if (bytes > SIZE_MAX - sizeof(Block)) return nullptr;
  auto* const block = static_cast<Block*>(malloc(sizeof(Block) + bytes));
  if (block == nullptr) return nullptr;
  block->older = newest;
  block->newer = nullptr;
  if (newest != nullptr) newest->newer = block;
  newest = block;
  return block + 1;
}

void* SessionMemory::allocate(size_t bytes) {
  void* const block = allocateBuffer(bytes);
  return block == nullptr ? nullptr : memset(block, 0, bytes);
}

void SessionMemory::release(void* memory) {
  if (memory == nullptr) return;
  Block* const block = static_cast<Block*>(memory) - 1;
  if (block->older != nullptr) block->older->newer = block->newer;
  (block->newer != nullptr ? block->newer->older : newest) = block->older;
  free(block);
}

void SessionMemory::releaseAll() {
  while (newest != nullptr) release(newest + 1);
}

char* SessionMemory::copy(std::string_view text) {
  auto* const copied = static_cast<char*>(allocateBuffer(text.size() + 1));
  if (copied == nullptr) return nullptr;
  memcpy(copied, text.data(), text.size());
  copied[text.size()] = 0;
  return copied;
}

}  // namespace qrt::sort
