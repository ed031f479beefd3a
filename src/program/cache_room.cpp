// How the program cache makes room: by compaction into a new block, by growing, by evicting.
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>
#include <utility>

#include "program/cache_block.h"

namespace qrt::program {

Cache& makeHeader(void* block, uint32_t size) {
  Cache& cache = *new (block) Cache{};
  memcpy(cache.magic, "cpm ", sizeof(cache.magic));
  cache.size = size;
  cache.left = size - sizeof(Cache);
  cache.next = static_cast<char*>(block) + sizeof(Cache);
  cache.flags = QRT_CACHE_SLOTS_VALID;
  return cache;
}

void countAsCarved(Cache& cache, const Entry& entry) {
  const uint32_t size = sizeWithRoom(entry.name_size);
  cache.next += size;
  cache.left -= size;
}

namespace {

// Carves a copy behind those that are there, at the tail of the list of use.
void copyInto(Cache& cache, const Entry& entry) {
  auto* copy = reinterpret_cast<Entry*>(cache.next);
  memcpy(copy, &entry, offsetof(Entry, name));
  setName(*copy, nameOf(entry));
  copy->flags &= QRT_CACHED_LOADED | QRT_CACHED_UNLOAD_WANTED;
  copy->lru_next = nullptr;
  copy->lru_prev = cache.lru_tail;
  (cache.lru_tail != nullptr ? cache.lru_tail->lru_next : cache.lru_head) = copy;
  cache.lru_tail = copy;
  ++cache.entries;
  countAsCarved(cache, *copy);
}

// Moves everything into a new block of `size` bytes, free entries excepted. False when that wins nothing, and
// when memory is short: the old block then stays.
bool compact() {
  Cache& old = *cpm_anchor;
  void* block = calloc(1, old.size);
  if (block == nullptr) {
    fputs("CPM: No space for realloc, using old.\n", stderr);
    return false;
  }
  forEachInUse(old, [&old](Entry& entry) {
    if ((entry.flags & QRT_CACHED_UNLOAD_WANTED) != 0) unload(old, entry);
  });
  Cache& cache = makeHeader(block, old.size);
  cache.min = old.min;
  cache.max = old.max;
  cache.dlopen = old.dlopen;
  cache.flags = old.flags;
  cache.reuses = old.reuses;
  cache.skipped = old.skipped;
  cache.evicts = old.evicts;
  cache.compacts = old.compacts;
  cache.resizes = old.resizes;
  cache.chain = old.chain;
  forEachInUse(old, [&cache](const Entry& entry) { copyInto(cache, entry); });
  rehash(cache);
  const bool won = cache.left > old.left;
  if (!won)
    cache.flags |= QRT_CACHE_COMPACT;
  else
    cache.flags &= ~QRT_CACHE_COMPACT;
  if (won && !has(cache, QRT_CACHE_RESIZING)) ++cache.compacts;
  free(std::exchange(cpm_anchor, &cache));
  return won;
}

bool grow() {
  Cache& old = *cpm_anchor;
  if (old.size >= old.max || old.size > UINT32_MAX / 2) {
    old.flags |= QRT_CACHE_LARGEST;
    return false;
  }
  ++old.resizes;
  old.size *= 2;
  old.flags |= QRT_CACHE_RESIZING;
  const bool grown = compact();
  cpm_anchor->flags &= ~QRT_CACHE_RESIZING;
  if (!grown) {
    --old.resizes;
    old.size /= 2;
  }
  return grown;
}

// Unloads from the tail on what isn't in use, until an entry that has the room for the name is free, or all
// that was freed here is enough for a new one.
bool evict(uint32_t nameRoom) {
  Cache& cache = *cpm_anchor;
  uint32_t room = cache.left;
  for (Entry *entry = cache.lru_tail, *previous; entry != nullptr; entry = previous) {
    previous = entry->lru_prev;
    entry->flags |= QRT_CACHED_EVICTING;
    unload(cache, *entry);
    entry->flags &= ~QRT_CACHED_EVICTING;
    if ((entry->flags & QRT_CACHED_FREE) == 0) continue;
    ++cache.evicts;
    room += sizeWithRoom(entry->name_size);
    if (entry->name_size >= nameRoom || room >= sizeWithRoom(nameRoom)) return true;
  }
  return false;
}

}  // namespace

bool makeRoom(uint32_t nameRoom) {
  cpm_anchor->flags |= QRT_CACHE_MAKING_ROOM;
  const bool made = (!has(*cpm_anchor, QRT_CACHE_COMPACT) && compact()) ||
                    (!has(*cpm_anchor, QRT_CACHE_LARGEST) && grow()) || evict(nameRoom);
  cpm_anchor->flags &= ~QRT_CACHE_MAKING_ROOM;
  return made;
}

}  // namespace qrt::program
