// The block of the program cache: a header, and entries of varying length carved out behind it. An entry is
// in use, on a list by last use and in the hash chain of its name, or free, on a list by rising room.
#pragma once

#include <string_view>

#include "qrtrlib.h"

namespace qrt::program {

using Cache = QrtProgramCache;
using Entry = QrtCacheEntry;

// The room of an entry for a name, and the size of an entry with that room, in bytes.
constexpr uint32_t roomFor(size_t nameLength) {
  return (static_cast<uint32_t>(nameLength) + 1 + 3) / 4 * 4;
}

constexpr uint32_t sizeWithRoom(uint32_t nameRoom) {
  return sizeof(Entry) + nameRoom;
}

inline std::string_view nameOf(const Entry& entry) {
  return {entry.name, entry.name_len};
}

// The entry has the room.
void setName(Entry& entry, std::string_view name);

inline bool has(const Cache& cache, uint32_t flag) {
  return (cache.flags & flag) != 0;
}

// Puts an entry that is on no list at the head of those in use.
void putIntoUse(Cache& cache, Entry& entry);

// Makes an entry in use the one that was used last.
void moveToHead(Cache& cache, Entry& entry);

// Builds the hash chains anew.
void rehash(Cache& cache);

// The smallest free entry that has the room, or null.
Entry* findFreeEntry(const Cache& cache, uint32_t nameRoom);

void takeOffFreeList(Cache& cache, const Entry& entry);

// Calls `work` for every entry in use; it may unload the entry.
template <typename Work>
void forEachInUse(Cache& cache, Work&& work) {
  for (Entry *entry = cache.lru_head, *next; entry != nullptr; entry = next) {
    next = entry->lru_next;
    work(*entry);
  }
}

// Unloads the program and frees the entry. While the program is in use, that is only wanted of it.
void unload(Cache& cache, Entry& entry);

// Gives back one use.
void giveBack(Cache& cache, Entry& entry);

// An entry of which an unload is wanted is passed over, except by who gives a use of it back.
enum class Purpose { use, giveBack };

// The entry in use of that name, or null. Entries on the way that wait for their unload go.
Entry* find(Cache& cache, std::string_view name, Purpose purpose = Purpose::use);

// An empty cache in a zeroed block of `size` bytes.
Cache& makeHeader(void* block, uint32_t size);

// Takes the entry, which lies where the next one is carved, off what is left.
void countAsCarved(Cache& cache, const Entry& entry);

// Makes room for an entry, as far as it goes in one step: by compaction, by growing or by evicting. False
// when no more can be won. The cache at cpm_anchor may have moved.
bool makeRoom(uint32_t nameRoom);

}  // namespace qrt::program
