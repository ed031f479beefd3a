// The program cache: its bookkeeping beside the plain twin, and its life across run units.
#include <dlfcn.h>
#include <qrtrlib.h>
#include <string.h>

#include <random>
#include <set>

#include "program/modules.h"
#include "program/plain_cache.h"
#include "support/allocation.h"
#include "support/process.h"
#include "support/program.h"

using namespace qrt::test;
using qrt::program::PlainCache;

// Programs of the main module.
extern "C" {
int32_t MAINPROGRAM();
int32_t MAINPROGRAM() {
  return -1;
}
}

namespace {

bool isLoaded(const Folder& folder, int number) {
  void* module = dlopen((folder.path + "/" + routineName(number)).c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (module != nullptr) dlclose(module);
  return module != nullptr;
}

int32_t call(const QrtCacheEntry& entry) {
  return reinterpret_cast<int32_t (*)()>(entry.entry_point)();
}

// The lists of the cache as the twin keeps them.
std::vector<PlainCache::Program> programsInUse(const QrtProgramCache& cache) {
  std::vector<PlainCache::Program> programs;
  const QrtCacheEntry* previous = nullptr;
  for (const QrtCacheEntry* entry = cache.lru_head; entry != nullptr; entry = entry->lru_next) {
    EXPECT_TRUE(entry->lru_prev == previous && entry->name[entry->name_len] == 0);
    programs.push_back({{entry->name, entry->name_len},
                        entry->name_size,
                        entry->use_count,
                        (entry->flags & QRT_CACHED_UNLOAD_WANTED) != 0});
    previous = entry;
  }
  EXPECT_EQ(cache.lru_tail, previous);
  return programs;
}

std::vector<uint32_t> freeRooms(const QrtProgramCache& cache) {
  std::vector<uint32_t> rooms;
  for (const QrtCacheEntry* entry = cache.free_head; entry != nullptr; entry = entry->lru_next) {
    EXPECT_EQ(entry->flags, QRT_CACHED_FREE);
    rooms.push_back(entry->name_size);
  }
  return rooms;
}

// Every entry in use lies in one chain, and all entries fill what was carved.
void checkBlock(const QrtProgramCache& cache) {
  std::set<const QrtCacheEntry*> chained;
  uint32_t slots = 0, carved = sizeof(cache);
  for (const QrtCacheEntry* head : cache.slot) {
    slots += head != nullptr;
    for (const QrtCacheEntry* entry = head; entry != nullptr; entry = entry->hash_next)
      EXPECT_TRUE(chained.insert(entry).second);
  }
  for (const QrtCacheEntry* entry = cache.lru_head; entry != nullptr; entry = entry->lru_next) {
    EXPECT_TRUE(chained.count(entry) != 0);
    carved += 44 + entry->name_size;
  }
  for (const uint32_t room : freeRooms(cache)) carved += 44 + room;
  EXPECT_EQ(chained.size(), cache.entries);
  EXPECT_EQ(slots, cache.slots);
  EXPECT_EQ(carved + cache.left, cache.size);
  EXPECT_EQ(cache.next, reinterpret_cast<const char*>(&cache) + carved);
}

void expectSame(const QrtProgramCache& cache, const PlainCache& plain) {
  EXPECT_EQ(programsInUse(cache), plain.inUse);
  EXPECT_EQ(freeRooms(cache), plain.freeRooms);
  const auto figures = [](auto&&... each) { return std::vector<uint32_t>{each...}; };
  const auto has = [&](uint32_t flag) { return (cache.flags & flag) != 0 ? 1u : 0u; };
  EXPECT_EQ(
      figures(cache.size, cache.left, cache.entries, cache.free, cache.reuses, cache.skipped, cache.evicts,
              cache.compacts, cache.resizes, has(QRT_CACHE_COMPACT), has(QRT_CACHE_LARGEST)),
      figures(plain.size, plain.left, uint32_t(plain.inUse.size()), uint32_t(plain.freeRooms.size()),
              plain.reuses, plain.skipped, plain.evicts, plain.compacts, plain.resizes,
              uint32_t(plain.nothingToWin), uint32_t(plain.largest)));
  checkBlock(cache);
}

// One random call of the cache and of its twin.
void step(std::mt19937& random, PlainCache& plain, const std::vector<std::string>& names) {
  const std::string& name = names[std::min(random() % names.size(), random() % names.size())];
  const auto wanted = [&](const PlainCache::Program& each) { return each.name == name && each.unloadWanted; };
  const bool isWanted = std::any_of(plain.inUse.begin(), plain.inUse.end(), wanted);
  const auto length = static_cast<uint32_t>(name.size());
  const uint32_t choice = random() % 200;
  if (choice < 130 && !isWanted) {
    const QrtCacheEntry* entry = _qrt_cpm_load2(name.data(), length);
    ASSERT_EQ(entry != nullptr, plain.load(name, name[0] != 'N')) << name;
    if (entry == nullptr) return;
    EXPECT_EQ(routineName(call(*entry) < 0 ? 0 : call(*entry)), name[0] == 'M' ? "P0" : name);
    EXPECT_EQ(entry->load_point == nullptr, name[0] == 'M');
  } else if (choice < 155) {
    EXPECT_EQ(_qrt_cpm_unload(name.c_str()), plain.unload(name));
  } else if (choice < 165 && !plain.inUse.empty()) {
    ++cpm_anchor->lru_head->use_count;
    ++plain.inUse[0].uses;
  } else if (choice < 196) {
    EXPECT_EQ(_qrt_cpm_free(name.c_str()), plain.giveBack(name));
  } else if (choice < 198) {
    _qrt_cpm_free_all();
    plain.giveBackAll();
  } else if (choice == 198 && random() % 8 == 0) {
    QRT_CPM_UNLOAD_ALL();
    plain.unloadAll();
  }
  EXPECT_EQ(_qrt_cpm_cached2(name.data(), length), plain.find(name) != plain.inUse.end());
}

void runBesideTwin(std::mt19937& random, const std::vector<std::string>& names, uint32_t kilobytes) {
  _qrtPgmInit(nullptr);
  PlainCache plain{.max = std::max(kilobytes, 4u) * 1024, .size = 4096};
  ASSERT_NE(_qrt_cpm_create(), nullptr);
  EXPECT_TRUE(cpm_anchor->max == plain.max && cpm_anchor->min == 4096);
  for (int count = 1; count <= 4000 && !testing::Test::HasFailure(); ++count) {
    step(random, plain, names);
    expectSame(*cpm_anchor, plain);
    if (count % 1000 != 0) continue;
    cpm_anchor->flags &= ~QRT_CACHE_SLOTS_VALID;
    EXPECT_EQ(plain.load("MAINPROGRAM", true), _qrt_cpm_load("MAINPROGRAM") != nullptr);
  }
  EXPECT_TRUE(plain.reuses > 0 && plain.skipped > 0);
  EXPECT_EQ(plain.evicts > 0 && plain.compacts > 0, kilobytes < 40);
  _qrtCleanUp();
  EXPECT_EQ(cpm_anchor, nullptr);
}

TEST(Cache, LikeThePlainTwin) {
  const Folder folder;
  std::vector<std::string> names = {"MAINPROGRAM", "NONE", "N" + std::string(60, 'O')};
  for (int number = 0; number < routines; ++number) {
    names.push_back(routineName(number));
    folder.addModule(names.back());
  }
  setenv("COBPATH", folder.path.c_str(), 1);
  setenv("COB_CPM_SIZE_MIN", "1", 1);
  std::mt19937 random(4);
  int32_t before = 0;
  for (const uint32_t kilobytes : {1, 5, 8, 40}) {
    std::shuffle(names.begin(), names.end(), random);
    setenv("COB_CPM_SIZE_MAX", std::to_string(kilobytes).c_str(), 1);
    runBesideTwin(random, names, kilobytes);
    EXPECT_FALSE(isLoaded(folder, 0));
    EXPECT_LE(liveBlocks(), before + (kilobytes == 1 ? 500 : 20));  // what the C library keeps
    before = liveBlocks();
  }
  for (const char* variable : {"COBPATH", "COB_CPM_SIZE_MIN", "COB_CPM_SIZE_MAX"}) unsetenv(variable);
}

TEST(Cache, SizesFromTheEnvironment) {
  const struct {
    const char *min, *max;
    uint32_t expectedMin, expectedMax;  // 0 for no cache
  } rows[] = {{nullptr, nullptr, 32768, 1048576},
              {"1", "2", 4096, 4096},
              {"3", "9", 3072, 9216},
              {"64", "10", 65536, 65536},
              {"0", "-1", 32768, 1048576},
              {"4x", "", 32768, 1048576},
              {"8", "0", 0, 0}};
  for (const auto& row : rows) {
    const Ended ended = inChild([&] {
      if (row.min != nullptr) setenv("COB_CPM_SIZE_MIN", row.min, 1);
      if (row.max != nullptr) setenv("COB_CPM_SIZE_MAX", row.max, 1);
      QRT_CPM_ENABLE();
      const QrtProgramCache* cache = _qrt_cpm_create();
      EXPECT_EQ(cache == nullptr, row.expectedMin == 0);
      EXPECT_EQ(cpm_status, cache == nullptr ? 0 : 1);
      if (cache == nullptr) exit(_qrt_cpm_load("MAINPROGRAM") != nullptr);
      EXPECT_TRUE(cache->min == row.expectedMin && cache->size == cache->min);
      EXPECT_EQ(cache->max, row.expectedMax);
      exit(testing::Test::HasFailure());
    });
    EXPECT_EQ(ended.exitCode, 0) << ended.out;
  }
}

// A program in use isn't found by a load once its unload is wanted, and goes with its last use.
TEST(Cache, UnloadWaitsForTheLastUse) {
  const Folder folder;
  folder.addModule("P0");
  setenv("COBPATH", (";/no such;" + folder.path + ";").c_str(), 1);
  QrtCacheEntry* const entry = _qrt_cpm_load("P0");
  ASSERT_NE(entry, nullptr);
  entry->use_count = 2;
  EXPECT_EQ(QRT_CPM_UNLOAD("P0"), 1);
  EXPECT_EQ(_qrt_cpm_cached("P0") + _qrt_cpm_unload("P0"), 0);
  EXPECT_EQ(_qrt_cpm_free("P0"), 1);
  EXPECT_TRUE(isLoaded(folder, 0) && cpm_anchor->entries == 1);
  EXPECT_NE(_qrt_cpm_load("P0"), entry);
  EXPECT_EQ(_qrt_cpm_unload("P0"), 1);
  EXPECT_TRUE(isLoaded(folder, 0));
  EXPECT_EQ(_qrt_cpm_free2("P0##", 2), 1);
  EXPECT_TRUE(!isLoaded(folder, 0) && cpm_anchor->entries == 0 && cpm_anchor->free == 2);
  EXPECT_EQ(_qrt_cpm_free("P0"), 0);
  EXPECT_EQ(_qrt_cpm_load2(std::string(5000, 'A').data(), 5000), nullptr);
  _qrt_cpm_destroy();
  unsetenv("COBPATH");
}

// Where a program is looked for: in the main module, by COBPATH, by its bare name.
TEST(Cache, Search) {
  const Folder first, second;
  first.addText("P0");
  second.addModule("P0");
  second.addModule("P1" + std::string(37, 'X'));
  first.addModule("P0.qmccob");
  second.addModule("NO-SUCH-ENTRY");
  second.addModule("NAME-WITH-EXTENSION.dll");
  const std::string list = first.path + ";" + second.path, bare = routineName(2), other = routineName(3);
  second.addModule(bare + ".dll");
  second.addModule(other + ".qmccob");
  const struct {
    std::string name;
    bool hosted, found;
  } rows[] = {
      {"P0", false, false},          {"P0", true, true},
      {routineName(1), false, true}, {"NO-SUCH-ENTRY", false, false},
      {bare, false, true},           {bare, true, true},
      {other, false, false},         {other, true, true},
      {"getenv", false, false},      {"MAINPROGRAM", false, true},
  };
  setenv("COBPATH", list.c_str(), 1);
  const std::string path = getenv("PATH");
  setenv("PATH", second.path.c_str(), 1);
  for (const auto& row : rows) {
    _qrtIsTrax = row.hosted;
    EXPECT_EQ(_qrt_cpm_load(row.name.c_str()) != nullptr, row.found) << row.name << row.hosted;
    _qrt_cpm_destroy();
  }
  _qrtIsTrax = 0;
  setenv("PATH", path.c_str(), 1);
  unsetenv("COBPATH");
}

// What a run unit leaves to the cache: modules, and programs in their initial state.
TEST(Cache, OutlivesHostedRunUnits) {
  const Folder folder;
  folder.addModule("P0");
  folder.addModule("P0.dll");
  setenv("COBPATH", folder.path.c_str(), 1);
  for (const bool hosted : {false, true}) {
    if (hosted) _qrt_cpm_init(nullptr, nullptr);
    Program main("MAIN"), called("P0");
    _qrtPgmInit(&main.block);
    EXPECT_EQ(cpm_status, hosted);
    EXPECT_EQ(static_cast<const char*>(_qrtProccom->cobpathCache), folder.path);
    QrtCacheEntry* const entry = _qrt_cpm_load("P0");
    ASSERT_NE(entry, nullptr);
    entry->use_count = 1;
    _qrtPgmInit(&called.block);
    called.entries[0].stateFlags = QRT_ENTRY_NOT_INITIAL;
    EXPECT_NE(cpm_anchor->dlopen, nullptr);
    hosted ? _qrtTraxRunUnit(1, nullptr) : _qrtRunUnitInit();  // one that has nothing to do with it
    _qrtCleanUp();
    EXPECT_EQ(cpm_anchor->dlopen, nullptr) << "not forgotten";
    _qrtCleanUp();
    EXPECT_EQ(called.entries[0].stateFlags, 0u);
    EXPECT_EQ(cpm_anchor != nullptr, hosted);
    EXPECT_EQ(isLoaded(folder, 0), hosted);
    EXPECT_EQ(hosted ? entry->use_count : 0, 0);
  }
  _qrt_cpm_destroy();
  EXPECT_FALSE(isLoaded(folder, 0));
  unsetenv("COBPATH");
}

TEST(Cache, Statistics) {
  const Ended ended = inChild([] {
    _qrt_cpm_stats();
    setenv("COB_CPM_SIZE_MIN", "4", 1);
    for (const char* name : {"MAINPROGRAM", "MAINPROGRAM", "NONE"}) _qrt_cpm_load(name);
    _qrt_cpm_call_hook();
    QRT_CPM_STATS();
    const QrtProgramCache& cache = *cpm_anchor;
    printf("%p %p %p %p", cpm_anchor, cache.lru_head, cache.dlopen, cache.next);
  });
  void* at[4];
  ASSERT_EQ(sscanf(ended.out.c_str(), "%p %p %p %p", &at[0], &at[1], &at[2], &at[3]), 4);
  char expected[2000];
  snprintf(expected, sizeof expected,
           "\nCPM: Compile-time Information:\n CPM_BUFFER_SIZE_MIN = 32K (32768)\n"
           "  MIN estimated entries  = 154.46\n  MIN minimum   entries  = 597.43\n"
           " CPM_BUFFER_SIZE_MAX = 1024K (1048576)\n  MAX estimated entries  = 5109.62\n"
           "  MAX minimum   entries  = 19763.62\n\nCPM: Run-time Header Information:\n"
           " COB_CPM_SIZE_MIN = 4\n COB_CPM_SIZE_MAX = (null)\n cpm_header  = %p\n lru_head    = %p\n"
           " lru_tail    = %p\n free_head   = (nil)\n dlopen      = %p\n flags       = 0x0048\n"
           " min         = 4096\n  MIN estimated entries  = 14.60\n  MIN minimum   entries  = 56.45\n"
           " max         = 1048576\n  MAX estimated entries  = 5109.62\n  MAX minimum   entries  = 19763.62\n"
           " size        = 4096\n  CUR estimated entries  = 14.60\n  CUR minimum   entries  = 56.45\n"
           " left        = 2936\n next        = %p (+1160)\n entries     = 1\n free        = 0\n"
           " reuses      = 1\n skipped     = 1\n total calls = 3\n evicts      = 0\n compacts    = 0\n"
           " resizes     = 0\n slots       = 1\n chain       = 1\n",
           at[0], at[1], at[1], at[2], at[3]);
  EXPECT_EQ(ended.err, expected);
}

// Memory that is short turns the cache off at its start, and later leaves the block as it is.
TEST(Cache, AllocationFails) {
  if (!canFailAllocations) GTEST_SKIP();
  const Folder folder;
  for (int number = 0; number < 60; ++number) folder.addModule(routineName(number));
  const Ended ended = inChild([&] {
    {
      const FailingAllocation failing(1);
      EXPECT_EQ(_qrt_cpm_load("MAINPROGRAM"), nullptr);
    }
    setenv("COBPATH", folder.path.c_str(), 1);
    for (const char* variable : {"COB_CPM_SIZE_MIN", "COB_CPM_SIZE_MAX"}) setenv(variable, "4", 1);
    for (int number = 0; number < 60; ++number) {
      const std::string name = routineName(number);
      const uint32_t skipped = cpm_anchor != nullptr ? cpm_anchor->skipped : 0;
      QrtCacheEntry* entry;
      {
        const FailingAllocation failing(number < 40 ? 0 : 1 + number % 3);
        entry = _qrt_cpm_load(name.c_str());
      }
      if (cpm_anchor == nullptr) continue;
      EXPECT_EQ(cpm_anchor->skipped - skipped, entry == nullptr ? 1 : 0);
      checkBlock(*cpm_anchor);
      EXPECT_EQ(cpm_anchor->size % 4096, 0u);
    }
    _qrt_cpm_unload_all();
    EXPECT_EQ(cpm_anchor->entries, 0u);
    exit(testing::Test::HasFailure());
  });
  EXPECT_EQ(ended.exitCode, 0) << ended.out;
  EXPECT_EQ(ended.err.substr(0, 36), "CPM: No buffer for alloc disabling.\n");
  EXPECT_NE(ended.err.find("CPM: No space for realloc, using old.\n"), std::string::npos);
}

}  // namespace
