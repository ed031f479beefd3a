// The lists of the program cache: by last use, by name, and of free entries.
#include <string.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "frame/hash.h"
#include "platform/modules.h"
#include "program/cache_block.h"

namespace qrt::program {
namespace {

Entry*& slotOf(Cache& cache, std::string_view name) {
  return cache.slot[frame::bucketOf(frame::foldedKey(name.data(), name.size()), QRT_CACHE_SLOTS)];
}

void addToChain(Cache& cache, Entry& entry) {
  Entry*& head = slotOf(cache, nameOf(entry));
  if (head == nullptr) ++cache.slots;
  entry.hash_prev = nullptr;
  entry.hash_next = head;
  if (head != nullptr) head->hash_prev = &entry;
  head = &entry;
}

void takeOffChain(Cache& cache, Entry& entry) {
  if (has(cache, QRT_CACHE_SLOTS_VALID)) {
    Entry*& head = slotOf(cache, nameOf(entry));
    if (head == &entry) head = entry.hash_next;
    if (head == nullptr) --cache.slots;
    if (entry.hash_next != nullptr) entry.hash_next->hash_prev = entry.hash_prev;
    if (entry.hash_prev != nullptr) entry.hash_prev->hash_next = entry.hash_next;
  }
  entry.hash_next = entry.hash_prev = nullptr;
}

void linkAtHead(Cache& cache, Entry& entry) {
  entry.lru_prev = nullptr;
  entry.lru_next = cache.lru_head;
  (cache.lru_head != nullptr ? cache.lru_head->lru_prev : cache.lru_tail) = &entry;
  cache.lru_head = &entry;
}

void unlink(Cache& cache, Entry& entry) {
  (entry.lru_prev != nullptr ? entry.lru_prev->lru_next : cache.lru_head) = entry.lru_next;
  (entry.lru_next != nullptr ? entry.lru_next->lru_prev : cache.lru_tail) = entry.lru_prev;
}

void putOnFreeList(Cache& cache, Entry& entry) {
  Entry** link = &cache.free_head;
  while (*link != nullptr && (*link)->name_size < entry.name_size) link = &(*link)->lru_next;
  entry.lru_prev = nullptr;
  entry.lru_next = *link;
  *link = &entry;
  ++cache.free;
}

}  // namespace

// From the tail of the list of use, so that a chain starts with what was used last.
void rehash(Cache& cache) {
  std::fill(cache.slot, std::end(cache.slot), nullptr);
  cache.slots = 0;
  cache.flags |= QRT_CACHE_SLOTS_VALID;
  for (Entry* entry = cache.lru_tail; entry != nullptr; entry = entry->lru_prev) addToChain(cache, *entry);
}

void setName(Entry& entry, std::string_view name) {
  memcpy(entry.name, name.data(), name.size());
  entry.name[name.size()] = 0;
  entry.name_len = static_cast<uint32_t>(name.size());
}

void putIntoUse(Cache& cache, Entry& entry) {
  linkAtHead(cache, entry);
  ++cache.entries;
  if (has(cache, QRT_CACHE_SLOTS_VALID))
    addToChain(cache, entry);
  else
    rehash(cache);
}

void moveToHead(Cache& cache, Entry& entry) {
  unlink(cache, entry);
  linkAtHead(cache, entry);
  if (!has(cache, QRT_CACHE_SLOTS_VALID)) rehash(cache);
}

void takeOffFreeList(Cache& cache, const Entry& entry) {
  Entry** link = &cache.free_head;
  while (*link != &entry) link = &(*link)->lru_next;
  *link = entry.lru_next;
  --cache.free;
}

Entry* findFreeEntry(const Cache& cache, uint32_t nameRoom) {
  Entry* entry = cache.free_head;
  while (entry != nullptr && entry->name_size < nameRoom) entry = entry->lru_next;
  return entry;
}

void unload(Cache& cache, Entry& entry) {
  if ((entry.flags & QRT_CACHED_EVICTING) == 0) entry.flags |= QRT_CACHED_UNLOAD_WANTED;
  if ((entry.flags & QRT_CACHED_FREE) != 0) return;
  if (entry.use_count > 0 && !has(cache, QRT_CACHE_DESTROYING)) return;
  takeOffChain(cache, entry);
  unlink(cache, entry);
  --cache.entries;
  const bool loaded = (entry.flags & QRT_CACHED_LOADED) != 0;
  const platform::Module module = std::exchange(entry.load_point, nullptr);
  entry.entry_point = nullptr;
  entry.use_count = 0;
  entry.flags = QRT_CACHED_FREE | (entry.flags & QRT_CACHED_EVICTING);
  putOnFreeList(cache, entry);
  cache.flags &= ~QRT_CACHE_COMPACT;
  if (loaded && module != nullptr) platform::unloadModule(module);
}

void giveBack(Cache& cache, Entry& entry) {
  if (entry.use_count > 0) --entry.use_count;
  if (entry.use_count <= 0 && (entry.flags & QRT_CACHED_UNLOAD_WANTED) != 0) unload(cache, entry);
}

Entry* find(Cache& cache, std::string_view name, Purpose purpose) {
  const bool hashed = has(cache, QRT_CACHE_SLOTS_VALID);
  uint32_t steps = 0;
  for (Entry *entry = hashed ? slotOf(cache, name) : cache.lru_head, *next; entry != nullptr; entry = next) {
    next = hashed ? entry->hash_next : entry->lru_next;
    ++steps;
    if ((entry->flags & QRT_CACHED_UNLOAD_WANTED) != 0) {
      unload(cache, *entry);
      if (purpose == Purpose::use || (entry->flags & QRT_CACHED_FREE) != 0) continue;
    }
    if (nameOf(*entry) != name) continue;
    cache.chain = std::max(cache.chain, steps);
    return entry;
  }
  return nullptr;
}

}  // namespace qrt::program
