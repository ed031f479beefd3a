// The program cache: modules that stay loaded between run units, found by name. All bookkeeping lies in one
// block of the plain heap, since it outlives run units; compaction copies what is in use into a new one.
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "frame/hash.h"
#include "frame/hosting.h"
#include "platform/modules.h"
#include "program/program_path.h"

QrtProgramCache* cpm_anchor = nullptr;
int32_t cpm_status = 0;

namespace qrt::program {
namespace {

using Cache = QrtProgramCache;
using Entry = QrtCacheEntry;

constexpr uint32_t kilobyte = 1024;
constexpr uint32_t defaultMin = 32, defaultMax = 1024;  // kilobytes
constexpr uint32_t tooSmall = 2144;                     // bytes
constexpr size_t longestName = 1023;
constexpr const char* minVariable = "COB_CPM_SIZE_MIN";
constexpr const char* maxVariable = "COB_CPM_SIZE_MAX";

constexpr uint32_t roomFor(size_t nameLength) {
  return (static_cast<uint32_t>(nameLength) + 1 + 3) / 4 * 4;
}

constexpr uint32_t sizeWithRoom(uint32_t nameRoom) {
  return sizeof(Entry) + nameRoom;
}

std::string_view nameOf(const Entry& entry) {
  return {entry.name, entry.name_len};
}

void setName(Entry& entry, std::string_view name) {
  memcpy(entry.name, name.data(), name.size());
  entry.name[name.size()] = 0;
  entry.name_len = static_cast<uint32_t>(name.size());
}

// ---- The lists -----------------------------------------------------------------------------------------

bool has(const Cache& cache, uint32_t flag) {
  return (cache.flags & flag) != 0;
}

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

// From the tail of the list of use, so that a chain starts with what was used last.
void rehash(Cache& cache) {
  std::fill(cache.slot, std::end(cache.slot), nullptr);
  cache.slots = 0;
  cache.flags |= QRT_CACHE_SLOTS_VALID;
  for (Entry* entry = cache.lru_tail; entry != nullptr; entry = entry->lru_prev) addToChain(cache, *entry);
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

void putOnFreeList(Cache& cache, Entry& entry) {
  Entry** link = &cache.free_head;
  while (*link != nullptr && (*link)->name_size < entry.name_size) link = &(*link)->lru_next;
  entry.lru_prev = nullptr;
  entry.lru_next = *link;
  *link = &entry;
  ++cache.free;
}

void takeOffFreeList(Cache& cache, const Entry& entry) {
  Entry** link = &cache.free_head;
  while (*link != &entry) link = &(*link)->lru_next;
  *link = entry.lru_next;
  --cache.free;
}

// Calls `work` for every entry in use; it may unload the entry.
template <typename Work>
void forEachInUse(Cache& cache, Work&& work) {
  for (Entry *entry = cache.lru_head, *next; entry != nullptr; entry = next) {
    next = entry->lru_next;
    work(*entry);
  }
}

// ---- Unloading -----------------------------------------------------------------------------------------

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

// An entry of which an unload is wanted is passed over, except by who gives a use of it back.
enum class Purpose { use, giveBack };

Entry* find(Cache& cache, std::string_view name, Purpose purpose = Purpose::use) {
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

// ---- Making room ---------------------------------------------------------------------------------------

Cache& header(void* block, uint32_t size) {
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
  Cache& cache = header(block, old.size);
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

// The cache may have moved.
bool makeRoom(uint32_t nameRoom) {
  cpm_anchor->flags |= QRT_CACHE_MAKING_ROOM;
  const bool made = (!has(*cpm_anchor, QRT_CACHE_COMPACT) && compact()) ||
                    (!has(*cpm_anchor, QRT_CACHE_LARGEST) && grow()) || evict(nameRoom);
  cpm_anchor->flags &= ~QRT_CACHE_MAKING_ROOM;
  return made;
}

// ---- Loading -------------------------------------------------------------------------------------------

// The first file of that name that can be read, in the directories of the list.
bool findReadable(const char* directories, std::string_view fileName, platform::NativePath& path) {
  for (; *directories != 0; directories = nextDirectory(directories)) {
    path = programFile(directories, fileName);
    if (path.fits && platform::isReadableFile(path.text)) return true;
  }
  return false;
}

// A file that is found decides, whether it can be loaded or not.
platform::Module loadModuleOf(std::string_view name) {
  platform::NativePath path, hostedName(name);
  hostedName.append(".qmccob");
  if (const char* directories = programDirectories())
    if ((frame::hosted() && findReadable(directories, hostedName.text, path)) ||
        findReadable(directories, name, path))
      return platform::loadModuleFile(path.text);
  platform::Module module = nullptr;
  if (frame::hosted()) module = platform::loadModule(hostedName.text);
  return module != nullptr ? module : platform::loadModule(name);
}

// Puts the program of the entry's name into it; a failure counts as skipped.
bool loadProgram(Cache& cache, Entry& entry) {
  if (cache.dlopen == nullptr) cache.dlopen = platform::mainModule();
  platform::Module module = nullptr;
  platform::Routine routine = platform::findRoutine(cache.dlopen, entry.name);
  if (routine == nullptr) {
    module = loadModuleOf(nameOf(entry));
    routine = platform::findRoutine(module, entry.name);
  }
  if (routine == nullptr) {
    if (module != nullptr) platform::unloadModule(module);
    ++cache.skipped;
    return false;
  }
  entry.load_point = module;
  entry.entry_point = reinterpret_cast<void*>(routine);
  entry.flags |= QRT_CACHED_LOADED;
  return true;
}

Entry* useAgain(Cache& cache, Entry& entry) {
  if (entry.load_point == nullptr && !loadProgram(cache, entry)) return nullptr;
  moveToHead(cache, entry);
  ++cache.reuses;
  return &entry;
}

Entry* findFreeEntry(Cache& cache, uint32_t nameRoom) {
  Entry* entry = cache.free_head;
  while (entry != nullptr && entry->name_size < nameRoom) entry = entry->lru_next;
  return entry;
}

Entry* useFreeEntry(Cache& cache, Entry& entry, std::string_view name) {
  entry.flags = QRT_CACHED_FREE;
  setName(entry, name);
  if (!loadProgram(cache, entry)) return nullptr;
  takeOffFreeList(cache, entry);
  entry.flags &= ~QRT_CACHED_FREE;
  putIntoUse(cache, entry);
  ++cache.reuses;
  return &entry;
}

Entry* carve(Cache& cache, std::string_view name) {
  Entry& entry = *new (cache.next) Entry{};
  entry.name_size = roomFor(name.size());
  setName(entry, name);
  if (!loadProgram(cache, entry)) return nullptr;
  putIntoUse(cache, entry);
  countAsCarved(cache, entry);
  cache.flags &= ~QRT_CACHE_COMPACT;
  return &entry;
}

Entry* load(std::string_view given) {
  if (_qrt_cpm_create() == nullptr) return nullptr;
  if (given.size() > longestName) {
    ++cpm_anchor->skipped;
    return nullptr;
  }
  char copy[longestName];  // the name that is given may be that of an entry
  memcpy(copy, given.data(), given.size());
  const std::string_view name(copy, given.size());
  if (Entry* entry = find(*cpm_anchor, name)) return useAgain(*cpm_anchor, *entry);
  const uint32_t nameRoom = roomFor(name.size());
  do {
    if (Entry* entry = findFreeEntry(*cpm_anchor, nameRoom)) return useFreeEntry(*cpm_anchor, *entry, name);
    if (sizeWithRoom(nameRoom) <= cpm_anchor->left) return carve(*cpm_anchor, name);
  } while (makeRoom(nameRoom));
  ++cpm_anchor->skipped;
  return nullptr;
}

// ---- The cache as a whole ------------------------------------------------------------------------------

// The bytes that a variable gives in kilobytes, when it is a number from `lowest` on.
uint32_t sizeFrom(const char* variable, long lowest, uint32_t kilobytes) {
  const char* text = getenv(variable);
  if (text != nullptr) {
    char* end;
    const long number = strtol(text, &end, 10);
    if (end != text && *end == 0 && number >= lowest) kilobytes = static_cast<uint32_t>(number);
  }
  return std::min(kilobytes, UINT32_MAX / kilobyte) * kilobyte;
}

void printStatistics(const Cache& cache) {
  constexpr auto estimated = [](uint32_t bytes) { return (bytes - double{sizeof(Cache)}) / 205; };
  constexpr auto minimum = [](uint32_t bytes) { return (bytes - double{sizeof(Cache)}) / 53; };
  constexpr uint32_t least = defaultMin * kilobyte, most = defaultMax * kilobyte;
  const auto variable = [](const char* name) {
    const char* text = getenv(name);
    return text != nullptr ? text : "(null)";
  };
  const auto number = [](uint32_t value) { return static_cast<unsigned long>(value); };
  const auto* block = reinterpret_cast<const char*>(&cache);
  fprintf(stderr,
          "\nCPM: Compile-time Information:\n CPM_BUFFER_SIZE_MIN = %dK (%d)\n"
          "  MIN estimated entries  = %.2f\n  MIN minimum   entries  = %.2f\n"
          " CPM_BUFFER_SIZE_MAX = %dK (%d)\n"
          "  MAX estimated entries  = %.2f\n  MAX minimum   entries  = %.2f\n",
          static_cast<int>(defaultMin), static_cast<int>(least), estimated(least), minimum(least),
          static_cast<int>(defaultMax), static_cast<int>(most), estimated(most), minimum(most));
  fprintf(stderr,
          "\nCPM: Run-time Header Information:\n COB_CPM_SIZE_MIN = %s\n COB_CPM_SIZE_MAX = %s\n"
          " cpm_header  = %p\n lru_head    = %p\n lru_tail    = %p\n free_head   = %p\n"
          " dlopen      = %p\n flags       = %#4.4x\n",
          variable(minVariable), variable(maxVariable), static_cast<const void*>(block),
          static_cast<void*>(cache.lru_head), static_cast<void*>(cache.lru_tail),
          static_cast<void*>(cache.free_head), cache.dlopen, static_cast<unsigned>(cache.flags));
  fprintf(stderr,
          " min         = %lu\n  MIN estimated entries  = %.2f\n  MIN minimum   entries  = %.2f\n"
          " max         = %lu\n  MAX estimated entries  = %.2f\n  MAX minimum   entries  = %.2f\n"
          " size        = %lu\n  CUR estimated entries  = %.2f\n  CUR minimum   entries  = %.2f\n"
          " left        = %lu\n next        = %p (+%lu)\n",
          number(cache.min), estimated(cache.min), minimum(cache.min), number(cache.max),
          estimated(cache.max), minimum(cache.max), number(cache.size), estimated(cache.size),
          minimum(cache.size), number(cache.left), static_cast<void*>(cache.next),
          static_cast<unsigned long>(cache.next - block));
  fprintf(stderr,
          " entries     = %u\n free        = %u\n reuses      = %u\n skipped     = %u\n"
          " total calls = %u\n evicts      = %u\n compacts    = %u\n resizes     = %u\n"
          " slots       = %u\n chain       = %u\n",
          cache.entries, cache.free, cache.reuses, cache.skipped,
          cache.free + cache.entries + cache.reuses + cache.skipped, cache.evicts, cache.compacts,
          cache.resizes, cache.slots, cache.chain);
}

// Calls `work` with the cache and the entry of that name; 1 when there is one, else 0.
template <typename Work>
int32_t withEntry(const char* name, uint32_t length, Purpose purpose, Work&& work) {
  if (cpm_anchor == nullptr) return 0;
  Entry* entry = find(*cpm_anchor, {name, length}, purpose);
  if (entry != nullptr) work(*cpm_anchor, *entry);
  return entry != nullptr ? 1 : 0;
}

template <typename Work>
void withEachEntry(Work&& work) {
  if (cpm_anchor != nullptr) forEachInUse(*cpm_anchor, [&work](Entry& entry) { work(*cpm_anchor, entry); });
}

}  // namespace
}  // namespace qrt::program

QrtProgramCache* _qrt_cpm_create() {
  using namespace qrt::program;
  if (cpm_anchor != nullptr) return cpm_anchor;
  uint32_t min = sizeFrom(minVariable, 1, defaultMin);
  uint32_t max = sizeFrom(maxVariable, 0, defaultMax);
  if (max == 0) {
    cpm_status = 0;
    return nullptr;
  }
  while (min <= tooSmall) min *= 2;
  max = std::max(max, min);
  void* block = calloc(1, min);
  if (block == nullptr) {
    fputs("CPM: No buffer for alloc disabling.\n", stderr);
    return nullptr;
  }
  Cache& cache = header(block, min);
  cache.min = min;
  cache.max = max;
  return cpm_anchor = &cache;
}

void _qrt_cpm_destroy() {
  using namespace qrt::program;
  if (cpm_anchor == nullptr) return;
  cpm_anchor->flags |= QRT_CACHE_DESTROYING;
  withEachEntry([](Cache& cache, Entry& entry) {
    giveBack(cache, entry);
    unload(cache, entry);
  });
  free(std::exchange(cpm_anchor, nullptr));
}

QrtCacheEntry* _qrt_cpm_load2(const char* name, uint32_t length) {
  return qrt::program::load({name, length});
}

int32_t _qrt_cpm_cached2(const char* name, uint32_t length) {
  using namespace qrt::program;
  return withEntry(name, length, Purpose::use, [](Cache&, Entry&) {});
}

int32_t _qrt_cpm_free2(const char* name, uint32_t length) {
  using namespace qrt::program;
  return withEntry(name, length, Purpose::giveBack, giveBack);
}

int32_t _qrt_cpm_unload2(const char* name, uint32_t length) {
  using namespace qrt::program;
  return withEntry(name, length, Purpose::use, unload);
}

QrtCacheEntry* _qrt_cpm_load(const char* name) {
  return _qrt_cpm_load2(name, strlen(name));
}

int32_t _qrt_cpm_cached(const char* name) {
  return _qrt_cpm_cached2(name, strlen(name));
}

int32_t _qrt_cpm_free(const char* name) {
  return _qrt_cpm_free2(name, strlen(name));
}

int32_t _qrt_cpm_unload(const char* name) {
  return _qrt_cpm_unload2(name, strlen(name));
}

void _qrt_cpm_free_all() {
  qrt::program::withEachEntry(qrt::program::giveBack);
}

void _qrt_cpm_unload_all() {
  qrt::program::withEachEntry(qrt::program::unload);
}

void _qrt_cpm_enable() {
  cpm_status = 1;
}

void _qrt_cpm_disable() {
  cpm_status = 0;
}

void _qrt_cpm_forget() {
  if (cpm_anchor != nullptr) cpm_anchor->dlopen = nullptr;
}

void _qrt_cpm_stats() {
  if (cpm_anchor == nullptr) return;
  cpm_anchor->flags |= QRT_CACHE_STATISTICS;
  qrt::program::printStatistics(*cpm_anchor);
  cpm_anchor->flags &= ~QRT_CACHE_STATISTICS;
}

// One use more of the entry that was used last, and one less.
void _qrt_cpm_call_hook() {}

void QRT_CPM_ENABLE() {
  _qrt_cpm_enable();
}

void QRT_CPM_DISABLE() {
  _qrt_cpm_disable();
}

void QRT_CPM_STATS() {
  _qrt_cpm_stats();
}

int32_t QRT_CPM_UNLOAD(const char* name) {
  return _qrt_cpm_unload(name);
}

void QRT_CPM_UNLOAD_ALL() {
  _qrt_cpm_unload_all();
}
