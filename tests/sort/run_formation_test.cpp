// Sizes of buffers, sorts through any number of runs beside std::stable_sort, and disks that are full.
#include <gtest/gtest.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>

#include "command.h"
#include "sort/engine/lumasift.h"
#include "support/allocation.h"
#include "support/process.h"

namespace {

using namespace qrt::sort;
using namespace qrt::test;

// A session whose sizes have been worked out.
struct Sized : Prepared {
  explicit Sized(const std::string& options, EngineArguments arguments = {}) : Prepared(options, arguments) {
    session->work = session->memory.make<SortWorkState>();
    code = MemManageInit(*session);
  }
  const MemorySizes& sizes() const { return session->work->sizes; }
};

TEST(MemorySizes, FollowFromTheOptions) {
  EngineArguments withExit;
  withExit.inputExit = [](BufferRow*, BufferRow*) { return 2; };
  // Z, Y, O, I, R
  using Sizes = std::vector<int32_t>;
  const struct {
    std::string options;
    bool hasExit;
    Sizes expected;
  } cases[] = {
      {"-k 1", false, {209716, 4096, 104858, 104860, 1}},
      {"-k 1", true, {190652, 4096, 95326, 95328, 1}},
      {"-k 1 -x 'memlim 512'", false, {209716, 4096, 104858, 104860, 1}},
      {"-s copy", false, {209716, 4096, 104858, 104860, 1}},
      {"-x 'format char 99'", false, {209716, 4096, 104858, 104940, 1}},
      // E = 34 + 3 x 65543, and Z follows it
      {"-k 1 -z 65535", false, {393328, 4096, 196664, 196664, 1}},
      // E = 36 + 2 x 6 x 2 x 65543, by the characters of the locale named
      {"-x 'locale C.utf8' -k 1 -k 2 -z 65535", false, {3146136, 4096, 1573068, 1573068, 1}},
      // u + 2 + 2 + 2 shares
      {"-m -k 1", false, {349524, 349524, 174762, 174764, 1}},
      // E = 34 + 2 x 4104
      {"-c -k 1", false, {16488, 4096, 104858, 104860, 48}},
  };
  for (const auto& [options, hasExit, expected] : cases) {
    const Sized sized(options, hasExit ? withExit : EngineArguments{});
    const MemorySizes& sizes = sized.sizes();
    EXPECT_EQ((Sizes{sizes.sortBuffer, sizes.midBlock, sizes.outputBuffer, sizes.inputBuffer,
                     sizes.residentBuffers}),
              expected)
        << options;
  }
}

TEST(RunFormation, SortsThroughAnyNumberOfRuns) {
  constexpr int32_t linesOfRun = 3, lineBytes = 15;
  setenv("COB_SORT_MAX_TMP_FILES", "70000", 1);
  std::mt19937 random(21);
  for (const int32_t runs : {0, 1, 2, 3, 254, 255, 256, 257, 258, 510, 511, 512, 767, 3000, 66000}) {
    const Directory directory;
    const std::string lines = makeLines(static_cast<size_t>(runs * linesOfRun), 5000, 0, random);
    std::ofstream(directory / "input", std::ios::binary) << lines;
    int32_t made = 0;
    const int32_t code = runCommand(
        {"-k1.1,1.6", "-T", directory.path, "-o", directory / "output", directory / "input"},
        [&](SortWorkState& work) {
          // An entry has two lengths, a key of 8 + 8 bytes and the padded line.
          const int32_t entryAndRow = 8 + 16 + 16 + 4;
          const int32_t worst = work.sizes.keyFactor * lineBytes + work.sizes.entryOverhead;
          work.sizes.sortBuffer = (linesOfRun - 1) * entryAndRow + (worst + 3) / 4 * 4;
          work.sizes.residentBuffers = runs % 3;
        },
        &made);
    ASSERT_EQ(code, 0) << runs << " runs";
    const int32_t merges = runs <= 256 ? 0 : (runs - 256 + 254) / 255;
    EXPECT_EQ(made, runs < 2 ? 0 : runs + merges);
    ASSERT_TRUE(contentOf(directory / "output") == sortedLines(lines)) << runs << " runs";
    std::filesystem::remove(directory / "output");
    std::filesystem::remove(directory / "input");
    EXPECT_TRUE(std::filesystem::is_empty(directory.path)) << runs << " runs leave files";
  }
  unsetenv("COB_SORT_MAX_TMP_FILES");
}

TEST(RunFormation, StopsAtTheLimitOfTemporaryFiles) {
  std::mt19937 random(22);
  const Directory directory;
  std::ofstream(directory / "input", std::ios::binary) << makeLines(3 * 1100, 5000, 0, random);
  for (const char* limit : {"", "10", "2000"}) {
    setenv("COB_SORT_MAX_TMP_FILES", limit, 1);
    const int32_t code =
        runCommand({"-k1.1,1.6", "-T", directory.path, "-o", directory / "output", directory / "input"},
                   [](SortWorkState& work) { work.sizes.sortBuffer = 200; });
    EXPECT_EQ(code, strcmp(limit, "2000") == 0 ? 0 : 79) << limit;
    std::filesystem::remove(directory / "output");
  }
  unsetenv("COB_SORT_MAX_TMP_FILES");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path), {}), 1)
      << "files are left behind";
}

// In a child: a disk of that many bytes under the directory; false where the system doesn't let us.
bool mountDisk(const std::string& path, const char* options) {
  std::filesystem::create_directory(path);
  return mount("none", path.c_str(), "tmpfs", 0, options) == 0;
}

TEST(RunFormation, GoesOnInTheNextDirectoryWhenOneIsFull) {
  std::mt19937 random(23);
  const Directory directory;
  const std::string lines = makeLines(30000, 5000, 60, random);
  std::ofstream(directory / "input", std::ios::binary) << lines;
  for (const bool hasRoom : {true, false}) {
    const Ended ended = inChild([&] {
      if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        _exit(99);
      if (!mountDisk(directory / "first", "size=500k") || !mountDisk(directory / "second", "size=300k"))
        _exit(99);
      if (!mountDisk(directory / "third", hasRoom ? "size=100m" : "size=200k")) _exit(99);
      const int32_t code =
          runCommand({"-k1.1,1.6", "-T", directory / "first", "-T", directory / "second", "-T",
                      directory / "third", "-o", directory / "output", directory / "input"},
                     [](SortWorkState&) {});
      for (const char* disk : {"first", "second", "third"})
        if (!std::filesystem::is_empty(directory / disk)) _exit(98);
      _exit(code);
    });
    if (ended.exitCode == 99) GTEST_SKIP() << "no disks can be mounted here";
    EXPECT_EQ(ended.exitCode, hasRoom ? 0 : 40) << ended.err;
    EXPECT_TRUE(!hasRoom || contentOf(directory / "output") == sortedLines(lines));
  }
}

TEST(RunFormation, EndsCleanlyWhenMemoryRunsOut) {
  if (!canFailAllocations) GTEST_SKIP();
  std::mt19937 random(24);
  const Directory directory;
  const std::string lines = makeLines(15000, 5000, 0, random);
  std::ofstream(directory / "input", std::ios::binary) << lines;
  const std::string output = directory / "output", input = directory / "input";
  const char* const words[] = {"-k1.1,1.6", "-x",           "nomsg",      "-T", directory.path.c_str(),
                               "-o",        output.c_str(), input.c_str()};
  EngineArguments command;
  command.calledByProgram = false;
  command.arguments = words;
  ASSERT_EQ(runEngine(command), 0);  // what the process keeps for good is there from here on
  bool failed = true;
  for (int32_t request = 1; failed; ++request) {
    const int32_t blocks = liveBlocks();
    int32_t code;
    {
      const FailingAllocation failing(request);
      code = runEngine(command);
      failed = failing.hasFailed();
    }
    EXPECT_EQ(liveBlocks(), blocks) << "leak after request " << request;
    EXPECT_TRUE(failed || code == 0);
    EXPECT_TRUE(code != 0 || contentOf(output) == sortedLines(lines)) << request;
    std::filesystem::remove(output);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path), {}), 1) << request;
    ASSERT_LT(request, 1000);
  }
}

}  // namespace
