// The plain twin of the program cache: the same bookkeeping over lists of names, without a block of memory;
// and how a block reads as one.
#pragma once

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "qrtrlib.h"

namespace qrt::program {

struct PlainCache {
  static constexpr uint32_t headerSize = 1104, entrySize = 44;

  struct Program {
    std::string name;
    uint32_t room;
    int32_t uses = 0;
    bool unloadWanted = false;

    bool operator==(const Program&) const = default;
  };

  uint32_t max, size, left = size - headerSize;
  std::vector<Program> inUse = {};       // most recently used first
  std::vector<uint32_t> freeRooms = {};  // rising
  uint32_t reuses = 0, skipped = 0, evicts = 0, compacts = 0, resizes = 0;
  bool nothingToWin = false, largest = false;

  bool operator==(const PlainCache&) const = default;

  // `exists` tells whether there is such a program at all.
  bool load(const std::string& name, bool exists) {
    const auto hit = find(name);
    if (hit != inUse.end()) {
      std::rotate(inUse.begin(), hit, hit + 1);
      ++reuses;
      return true;
    }
    const auto room = static_cast<uint32_t>((name.size() + 4) / 4 * 4);
    do {
      const auto fitting = std::lower_bound(freeRooms.begin(), freeRooms.end(), room);
      const bool anew = fitting == freeRooms.end();
      if (anew && room + entrySize > left) continue;
      if (!exists) break;
      inUse.insert(inUse.begin(), {name, anew ? room : *fitting});
      if (anew) {
        left -= room + entrySize;
        nothingToWin = false;
      } else {
        freeRooms.erase(fitting);
        ++reuses;
      }
      return true;
    } while (makeRoom(room));
    ++skipped;
    return false;
  }

  bool giveBack(const std::string& name) {
    for (size_t at = 0; at < inUse.size(); ++at)
      if (inUse[at].name == name) return giveBackAt(at), true;
    return false;
  }

  void giveBackAll() {
    for (size_t at = inUse.size(); at-- > 0;) giveBackAt(at);
  }

  bool unload(const std::string& name) {
    const auto found = find(name);
    if (found == inUse.end()) return false;
    unloadAt(static_cast<size_t>(found - inUse.begin()));
    return true;
  }

  void unloadAll() {
    for (size_t at = inUse.size(); at-- > 0;) unloadAt(at);
  }

  std::vector<Program>::iterator find(const std::string& name) {
    return std::find_if(inUse.begin(), inUse.end(), [&](const Program& program) {
      return program.name == name && !program.unloadWanted;
    });
  }

 private:
  void giveBackAt(size_t at) {
    inUse[at].uses = std::max(inUse[at].uses - 1, 0);
    if (inUse[at].uses == 0 && inUse[at].unloadWanted) makeFree(at);
  }

  void unloadAt(size_t at) {
    inUse[at].unloadWanted = true;
    if (inUse[at].uses == 0) makeFree(at);
  }

  void makeFree(size_t at) {
    const uint32_t room = inUse[at].room;
    inUse.erase(inUse.begin() + static_cast<std::ptrdiff_t>(at));
    freeRooms.insert(std::lower_bound(freeRooms.begin(), freeRooms.end(), room), room);
    nothingToWin = false;
  }

  bool makeRoom(uint32_t room) {
    if (!nothingToWin && compact()) {
      ++compacts;
      return true;
    }
    if (size < max) {
      size *= 2;
      ++resizes;
      return compact();
    }
    largest = true;
    return evict(room);
  }

  bool compact() {
    const uint32_t before = left;
    left = size - headerSize;
    for (const Program& program : inUse) left -= entrySize + program.room;
    freeRooms.clear();
    nothingToWin = left <= before;
    return !nothingToWin;
  }

  bool evict(uint32_t room) {
    uint32_t won = left;
    for (size_t at = inUse.size(); at-- > 0;) {
      if (inUse[at].uses > 0) continue;
      const uint32_t freed = inUse[at].room;
      makeFree(at);
      ++evicts;
      won += entrySize + freed;
      if (freed >= room || won >= entrySize + room) return true;
    }
    return false;
  }
};

// What the lists and figures of a block say.
inline PlainCache plainFormOf(const QrtProgramCache& cache) {
  PlainCache plain{.max = cache.max, .size = cache.size, .left = cache.left};
  for (const QrtCacheEntry* entry = cache.lru_head; entry != nullptr; entry = entry->lru_next)
    plain.inUse.push_back(
        {entry->name, entry->name_size, entry->use_count, (entry->flags & QRT_CACHED_UNLOAD_WANTED) != 0});
  for (const QrtCacheEntry* entry = cache.free_head; entry != nullptr; entry = entry->lru_next)
    plain.freeRooms.push_back(entry->name_size);
  plain.reuses = cache.reuses;
  plain.skipped = cache.skipped;
  plain.evicts = cache.evicts;
  plain.compacts = cache.compacts;
  plain.resizes = cache.resizes;
  plain.nothingToWin = (cache.flags & QRT_CACHE_COMPACT) != 0;
  plain.largest = (cache.flags & QRT_CACHE_LARGEST) != 0;
  return plain;
}

// Whether the lists agree with each other both ways, and the entries fill what was carved.
inline bool isSound(const QrtProgramCache& cache) {
  std::set<const QrtCacheEntry*> chained;
  uint32_t slots = 0, carved = PlainCache::headerSize, entries = 0, free = 0;
  for (const QrtCacheEntry* head : cache.slot) {
    slots += head != nullptr;
    for (const QrtCacheEntry *entry = head, *previous = nullptr; entry != nullptr; entry = entry->hash_next) {
      if (!chained.insert(entry).second || entry->hash_prev != previous) return false;
      previous = entry;
    }
  }
  const QrtCacheEntry* previous = nullptr;
  for (const QrtCacheEntry* entry = cache.lru_head; entry != nullptr; entry = entry->lru_next, ++entries) {
    if (chained.count(entry) == 0 || entry->lru_prev != previous) return false;
    previous = entry;
    carved += PlainCache::entrySize + entry->name_size;
  }
  for (const QrtCacheEntry* entry = cache.free_head; entry != nullptr; entry = entry->lru_next, ++free) {
    if (entry->flags != QRT_CACHED_FREE) return false;
    carved += PlainCache::entrySize + entry->name_size;
  }
  return cache.lru_tail == previous && cache.slots == slots && cache.entries == entries &&
         chained.size() == entries && cache.free == free && cache.size == carved + cache.left &&
         cache.next == reinterpret_cast<const char*>(&cache) + carved;
}

}  // namespace qrt::program
