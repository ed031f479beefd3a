#include "support/allocation.h"

#include <errno.h>
#include <locale.h>

#include <atomic>

namespace {

std::atomic<int32_t> live = 0;
std::atomic<int32_t> requestsMade = 0;
std::atomic<int32_t> requestThatFails = 0;
std::atomic<bool> armed = false;

}  // namespace

namespace qrt::test {

FailingAllocation::FailingAllocation(int32_t n) {
  requestsMade = 0;
  requestThatFails = n;
  armed = true;
}

FailingAllocation::~FailingAllocation() {
  armed = false;
}

int32_t FailingAllocation::requests() const {
  return requestsMade;
}

bool FailingAllocation::hasFailed() const {
  return requestThatFails > 0 && requestsMade >= requestThatFails;
}

void keepLocale() {
  static const locale_t kept = newlocale(LC_ALL_MASK, "C.UTF-8", nullptr);
  (void)kept;
}

int32_t liveBlocks() {
  return live;
}

}  // namespace qrt::test

#ifndef QRT_SANITIZE

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);

}  // extern "C"

namespace {

bool fails() {
  if (!armed) return false;
  const bool due = ++requestsMade == requestThatFails;
  if (due) errno = ENOMEM;
  return due;
}

void* counted(void* block) {
  if (block != nullptr) ++live;
  return block;
}

}  // namespace

// These stand before the C library's own in every search for the names.
extern "C" {

void* malloc(size_t size) noexcept {
  return fails() ? nullptr : counted(__libc_malloc(size));
}

void* calloc(size_t count, size_t size) noexcept {
  return fails() ? nullptr : counted(__libc_calloc(count, size));
}

void* realloc(void* block, size_t size) noexcept {
  if (fails()) return nullptr;
  void* moved = __libc_realloc(block, size);
  if (block == nullptr) return counted(moved);
  if (moved == nullptr && size == 0) --live;
  return moved;
}

void free(void* block) noexcept {
  if (block != nullptr) --live;
  __libc_free(block);
}

}  // extern "C"

#endif
