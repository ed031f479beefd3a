// The program cache: its bookkeeping beside the plain twin, and its life across run units.

#include <regex>

#include "program/modules.h"
#include "program/plain_cache.h"
#include "support/program.h"

using namespace qrt::test;
using namespace qrt::program;

// A program of the main module.
extern "C" int32_t MAINPROGRAM();
int32_t MAINPROGRAM() {
  return -1;
}

namespace {

void setSizes(const char* min, const char* max) {
  setenv("COB_CPM_SIZE_MIN", min, 1);
  setenv("COB_CPM_SIZE_MAX", max, 1);
}

void load(PlainCache& plain, const std::string& name) {
  const QrtCacheEntry* entry = _qrt_cpm_load2(name.data(), name.size());
  ASSERT_EQ(entry != nullptr, plain.load(name, name[0] != 'N')) << name;
  if (entry == nullptr) return;
  const int32_t result = reinterpret_cast<int32_t (*)()>(entry->entry_point)();
  EXPECT_EQ(result < 0 ? "MAINPROGRAM" : routineName(result), name);
  EXPECT_EQ(entry->load_point == nullptr, result < 0);
}

// One random call of the cache and of its twin.
void step(std::mt19937& random, PlainCache& plain, const std::string& name) {
  const uint32_t choice = random() % 200;
  if (choice < 130) {
    load(plain, name);
  } else if (choice < 155) {
    EXPECT_EQ(_qrt_cpm_unload(name.c_str()), plain.unload(name));
  } else if (choice < 165 && !plain.inUse.empty()) {
    plain.inUse[0].uses = ++cpm_anchor->lru_head->use_count;
  } else if (choice < 196) {
    EXPECT_EQ(_qrt_cpm_free2((name + "##").data(), name.size()), plain.giveBack(name));
  } else if (choice < 199) {
    _qrt_cpm_free_all();
    plain.giveBackAll();
  } else if (random() % 8 == 0) {
    QRT_CPM_UNLOAD_ALL();
    plain.unloadAll();
  } else {
    cpm_anchor->flags &= ~QRT_CACHE_SLOTS_VALID;
    load(plain, "MAINPROGRAM");
  }
  EXPECT_EQ(_qrt_cpm_cached(name.c_str()), plain.find(name) != plain.inUse.end());
}

void runBesideTwin(const std::vector<std::string>& names, uint32_t kilobytes) {
  std::mt19937 random(kilobytes);
  setSizes("1", std::to_string(kilobytes).c_str());
  _qrtPgmInit(nullptr);
  PlainCache plain{.max = std::max(kilobytes, 4u) * 1024, .size = 4096};
  load(plain, "NONE");
  for (int count = 1; count <= 4000 && !testing::Test::HasFailure(); ++count) {
    step(random, plain, names[std::min(random() % names.size(), random() % names.size())]);
    EXPECT_TRUE(plainFormOf(*cpm_anchor) == plain && isSound(*cpm_anchor)) << count;
  }
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
  std::shuffle(names.begin(), names.end(), std::mt19937(4));
  apart([&] {
    setenv("COBPATH", (";/no such;" + folder.path + ";").c_str(), 1);
    int32_t before = INT32_MAX - 20;  // the C library keeps some
    for (const uint32_t kilobytes : {1, 5, 8, 40}) {
      runBesideTwin(names, kilobytes);
      EXPECT_FALSE(folder.isLoaded("P0"));
      EXPECT_LE(liveBlocks(), before + 20);
      before = liveBlocks();
    }
  });
}

TEST(Cache, SizesFromTheEnvironment) {
  apart([] {
    for (const auto& [min, max, size, most] :
         {std::tuple{"3", "9", 3072u, 9216u}, {"64", "10", 65536, 65536}, {"4x", "-1", 32768, 1 << 20}}) {
      setSizes(min, max);
      const QrtProgramCache* cache = _qrt_cpm_create();
      EXPECT_TRUE(cache->min == size && cache->size == size && cache->max == most);
      _qrt_cpm_destroy();
    }
    setSizes("8", "0");
    QRT_CPM_ENABLE();
    EXPECT_TRUE(_qrt_cpm_load("MAINPROGRAM") == nullptr && cpm_status == 0);
    unsetenv("COB_CPM_SIZE_MAX");
    EXPECT_TRUE(_qrt_cpm_load2(std::string(5000, 'A').data(), 5000) == nullptr && cpm_anchor->skipped == 1);
  });
}

// Where a program is looked for: in the main module, by COBPATH, by its bare name.
TEST(Cache, Search) {
  const Folder first, second;
  const std::string zero = "P0", main = "MAINPROGRAM", system = "getenv", none = "NO-ENTRY";
  const std::string other = routineName(1), bare = routineName(2), hosted = routineName(3);
  first.addText("P0");
  first.addModule("P0.qmccob");
  for (const std::string& name : {zero, other, none, bare + ".dll", hosted + ".qmccob"})
    second.addModule(name);
  apart([&] {
    setenv("COBPATH", (first.path + ";" + second.path).c_str(), 1);
    setenv("PATH", second.path.c_str(), 1);
    const auto found = [&](bool inHost) {
      std::string shown;
      _qrtIsTrax = inHost;
      for (const std::string& name : {zero, other, bare, hosted, main, system, none})
        shown += _qrt_cpm_load(name.c_str()) != nullptr ? "+" : "-";
      _qrt_cpm_destroy();
      return shown;
    };
    EXPECT_EQ(found(false), "-++-+--");
    EXPECT_EQ(found(true), "+++++--");
  });
}

// What a run unit leaves to the cache: modules, and programs in their initial state.
TEST(Cache, OutlivesHostedRunUnits) {
  const Folder folder;
  folder.addModule("P0");
  for (const bool hosted : {false, true})
    apart([&] {
      setenv("COBPATH", folder.path.c_str(), 1);
      if (hosted) _qrt_cpm_init(nullptr, nullptr);
      Program main("MAIN"), called("P0");
      _qrtPgmInit(&main.block);
      EXPECT_EQ(cpm_status, hosted);
      EXPECT_EQ(static_cast<const char*>(_qrtProccom->cobpathCache), folder.path);
      QrtCacheEntry* const entry = _qrt_cpm_load("P0");
      entry->use_count = 1;
      _qrtPgmInit(&called.block);
      called.entries[0].stateFlags = QRT_ENTRY_NOT_INITIAL;
      hosted ? _qrtTraxRunUnit(1, nullptr) : _qrtRunUnitInit();  // one that has nothing to do with it
      _qrtCleanUp();
      EXPECT_TRUE(cpm_anchor->dlopen == nullptr && entry->use_count == 1);
      _qrtCleanUp();
      EXPECT_EQ(called.entries[0].stateFlags, 0u);
      EXPECT_EQ(folder.isLoaded("P0"), hosted);
      EXPECT_TRUE(hosted ? entry->use_count == 0 : cpm_anchor == nullptr);
      _qrt_cpm_destroy();
      EXPECT_FALSE(folder.isLoaded("P0"));
    });
}

TEST(Cache, Statistics) {
  const Ended ended = inChild([] {
    _qrt_cpm_stats();
    setenv("COB_CPM_SIZE_MIN", "4", 1);
    for (const char* name : {"MAINPROGRAM", "MAINPROGRAM", "NONE"}) _qrt_cpm_load(name);
    QRT_CPM_STATS();
  });
  std::string figures;
  const std::regex figure("= (0x\\w{5,})?(\\S*)");  // without addresses
  for (std::sregex_iterator at(ended.err.begin(), ended.err.end(), figure), end; at != end; ++at)
    figures += at->str(2) + " ";
  EXPECT_EQ(figures,
            "32K 154.46 597.43 1024K 5109.62 19763.62 4 (null)    (nil)  0x0048 4096 14.60 56.45 1048576 "
            "5109.62 19763.62 4096 14.60 56.45 2936  1 0 1 1 3 0 0 0 1 1 ");
}

// Memory that is short turns the cache off at its start, and later leaves the block as it is.
TEST(Cache, AllocationFails) {
  if (!canFailAllocations) GTEST_SKIP();
  const Folder folder;
  for (int number = 0; number < 60; ++number) folder.addModule(routineName(number));
  const std::string told = apart([&] {
    setenv("COBPATH", folder.path.c_str(), 1);
    setSizes("4", "4");
    const auto failsToLoad = [](int number, int32_t n) {
      const std::string name = routineName(number);
      const FailingAllocation failing(n);
      return _qrt_cpm_load(name.c_str()) == nullptr;
    };
    EXPECT_TRUE(failsToLoad(0, 1) && cpm_anchor == nullptr);
    uint32_t skipped = 0;
    for (int number = 0; number < 60; ++number) {
      skipped += failsToLoad(number, number < 40 ? 0 : 1 + number % 3);
      EXPECT_TRUE(isSound(*cpm_anchor) && cpm_anchor->size == 4096 && cpm_anchor->skipped == skipped);
    }
  });
  EXPECT_EQ(told.substr(0, 36), "CPM: No buffer for alloc disabling.\n");
  EXPECT_NE(told.find("CPM: No space for realloc, using old.\n"), std::string::npos);
}

}  // namespace
