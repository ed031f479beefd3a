// Sizes of buffers, and sort, merge and check of files through any number of runs beside a plain sort.
#include "fixture.h"

namespace {

using namespace qrt::sort;
using namespace qrt::test;

TEST(MemorySizes, FollowFromTheOptions) {
  EngineArguments withExit;
  withExit.inputExit = noExit;
  using Sizes = std::vector<int32_t>;  // Z, Y, O, I, R
  const struct {
    std::string options;
    bool hasExit;
    Sizes expected;
  } rows[] = {
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
  for (const auto& [options, hasExit, expected] : rows) {
    Prepared prepared(options, hasExit ? withExit : EngineArguments{});
    prepared.start([&](const MemorySizes& sizes) {
      EXPECT_EQ((Sizes{sizes.sortBuffer, sizes.midBlock, sizes.outputBuffer, sizes.inputBuffer,
                       sizes.residentBuffers}),
                expected)
          << options;
    });
  }
}

// A run from files to a file.
struct FileRun : Prepared {
  int32_t runs;  // those of merges included

  explicit FileRun(
      const std::string& options, const std::function<void(MemorySizes&)>& adjust = [](MemorySizes&) {})
      : Prepared("-T temporary " + options, {}, true) {
    start(adjust);
    if (code == 0) code = makeTempDirectories(*session);
    if (code == 0) code = LumasiftMain(*session);
    runs = session->work->runCount;
    removeTempDirectories(*session);
  }
};

// Lines under keys of six digits, each with its number behind.
Records makeLines(size_t count, uint32_t keys, size_t padding, std::mt19937& random) {
  Records lines;
  for (size_t at = 0; at < count; ++at) {
    char line[32];
    snprintf(line, sizeof line, "%06u %07zu", static_cast<unsigned>(random() % keys), at);
    lines.push_back(line + std::string(padding, '.') + "\n");
  }
  return lines;
}

Records firstOfEach(Records sorted) {
  const auto isSame = [](const std::string& left, const std::string& right) {
    return left.compare(0, 6, right, 0, 6) == 0;
  };
  sorted.erase(std::unique(sorted.begin(), sorted.end(), isSame), sorted.end());
  return sorted;
}

TEST(MainSort, GoesThroughAnyNumberOfRuns) {
  constexpr int32_t linesOfRun = 3;
  const struct {
    int32_t runs, padding;  // of each line; long ones make entries that are longer than blocks
  } rows[] = {{0, 0},   {1, 0},   {2, 0},   {3, 0},   {254, 0},  {255, 0},   {256, 0},  {257, 0},   {258, 0},
              {510, 0}, {511, 0}, {512, 0}, {767, 0}, {3000, 0}, {66000, 0}, {2, 4985}, {300, 4985}};
  setenv("COB_SORT_MAX_TMP_FILES", "70000", 1);
  std::mt19937 random(21);
  for (const auto& [runs, padding] : rows) {
    const Folder folder;
    const Records lines = makeLines(static_cast<size_t>(runs * linesOfRun), 900, padding, random);
    Folder::write("in", joined(lines));
    const std::string options = (padding > 0 ? "-z 5000 " : "") + std::string("-k1.1,1.6 -o out in");
    const auto adjust = [&, padding = padding, runs = runs](MemorySizes& sizes) {
      // An entry has two lengths, a key of 8 + 8 bytes and the padded line.
      const int32_t lineBytes = 15 + padding, entryAndRow = 8 + 16 + (lineBytes + 3) / 4 * 4 + 4;
      const int32_t worst = sizes.keyFactor * lineBytes + sizes.entryOverhead;
      sizes.sortBuffer = (linesOfRun - 1) * entryAndRow + (worst + 3) / 4 * 4;
      sizes.residentBuffers = runs % 3;
      if (runs % 2 == 0) sizes.t2 = 0;  // no read buffers beyond the smallest
    };
    const FileRun sort(options, adjust);
    ASSERT_EQ(sort.code, 0) << runs << " runs";
    const int32_t merges = runs <= 256 ? 0 : (runs - 256 + 254) / 255;
    EXPECT_EQ(sort.runs, runs < 2 ? 0 : runs + merges);
    const Records sorted = sortedBy(0, 6, lines);
    ASSERT_TRUE(Folder::read("out") == joined(sorted)) << runs << " runs";
    if (runs > 3000) continue;
    ASSERT_EQ(FileRun("-u " + options, adjust).code, 0);
    EXPECT_TRUE(Folder::read("out") == joined(firstOfEach(sorted))) << runs << " runs, -u";
  }
  unsetenv("COB_SORT_MAX_TMP_FILES");
}

TEST(MainSort, StopsAtTheLimitOfTemporaryFiles) {
  std::mt19937 random(22);
  const Folder folder;
  Folder::write("in", joined(makeLines(3 * 1100, 5000, 0, random)));
  for (const auto& [limit, code] : {std::pair("", 79), std::pair("10", 79), std::pair("2000", 0)}) {
    setenv("COB_SORT_MAX_TMP_FILES", limit, 1);
    const FileRun sort("-k1.1,1.6 -o out in", [](MemorySizes& sizes) { sizes.sortBuffer = 200; });
    EXPECT_EQ(sort.code, code) << limit;
  }
  unsetenv("COB_SORT_MAX_TMP_FILES");
}

TEST(MainMerge, JoinsAnyNumberOfSources) {
  std::mt19937 random(31);
  for (const size_t count : {1, 2, 16, 255, 256, 257, 600}) {
    const Folder folder;
    std::string options = "-m -k1.1,1.6 -o out";
    Records all;
    for (size_t source = 0; source < count; ++source) {
      const Records lines = sortedBy(0, 6, makeLines(random() % 40, 300, random() % 30, random));
      Folder::write(std::to_string(source), joined(lines));
      options += " " + std::to_string(source);
      all.insert(all.end(), lines.begin(), lines.end());
    }
    all = sortedBy(0, 6, all);
    ASSERT_EQ(FileRun(options).code, 0);
    EXPECT_TRUE(Folder::read("out") == joined(all)) << count << " sources";
    ASSERT_EQ(FileRun("-u " + options).code, 0);
    EXPECT_TRUE(Folder::read("out") == joined(firstOfEach(all))) << count << " sources, -u";
  }
}

TEST(MainCheck, FindsTheFirstRecordOutOfOrderInEachSource) {
  const struct {
    Records sources;
    std::string options, told;
  } rows[] = {
      {{"a\nb\nc\n"}, "", ""},
      {{"a\nb\nb\nc\n"}, "", ""},
      {{"a\nb\nb\nc\n"}, "-u", "002 Equal-keyed records detected"},
      {{"a\nc\nb\nd\n"}, "", "001 Record number 3 in <0> is not in order"},
      {{"a\nc\nb\nd\n"}, "-r", "001 Record number 2 in <0> is not in order"},
      {{"x\ny\n", "a\nb\n"}, "", ""},
      {{"x\ny\n", "a\nc\nb\n"}, "", "001 Record number 3 in <1> is not in order"},
      {{"z\na\nb\n"}, "-x 'skiprec 1'", ""},
      {{"a\nz\nb\n"}, "-x 'select 1 lt \"x\"'", ""},
      {{"", "a\n", ""}, "", ""},
  };
  for (const auto& [sources, options, told] : rows) {
    const Folder folder;
    std::string names;
    for (size_t source = 0; source < sources.size(); ++source) {
      Folder::write(std::to_string(source), sources[source]);
      names += " " + std::to_string(source);
    }
    const FileRun check("-c " + options + names);
    EXPECT_EQ(check.code, told.empty() ? 0 : 1) << sources[0];
    EXPECT_EQ(check.told, told.empty() ? "" : "Lumasift: 7351-" + told) << sources[0];
  }
}

}  // namespace
