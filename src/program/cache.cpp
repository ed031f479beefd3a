// The program cache: modules that stay loaded between run units, found by name. Its block lies on the plain
// heap, since it outlives run units.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "frame/hosting.h"
#include "platform/file_state.h"
#include "platform/modules.h"
#include "program/cache_block.h"
#include "program/program_path.h"

QrtProgramCache* cpm_anchor = nullptr;
int32_t cpm_status = 0;

namespace qrt::program {
namespace {

constexpr uint32_t kilobyte = 1024;
constexpr uint32_t defaultMin = 32, defaultMax = 1024;  // kilobytes
constexpr uint32_t tooSmall = 2144;                     // bytes
constexpr size_t longestName = 1023;
constexpr const char* minVariable = "COB_CPM_SIZE_MIN";
constexpr const char* maxVariable = "COB_CPM_SIZE_MAX";

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
  Cache& cache = makeHeader(block, min);
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
